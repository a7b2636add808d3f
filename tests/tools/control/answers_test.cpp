// Lines to the control socket, what is shown of the answers, and the exit status.

#include "tests/harness/text_compare.h"
#include "tests/tools/control/ControlSession.h"

#include <fcntl.h>

namespace {

using Control = ControlSession;

TEST_F(Control, EndsAsTheAnswerSays)
{
    const struct {
        std::vector<std::string> command;
        std::string answer;
        int status;
        std::string output;
        std::string errors;
    } rows[] = {
        {{"visibility", "3", "t"}, R"({"ok":true,"receivers":2})", 0, "receivers: 2\n", ""},
        {{"--json", "resume"}, R"({"ok":true,  "x":5})", 0, "{\"ok\":true,  \"x\":5}\n", ""},
        {{"stop"}, R"({"ok":false,"error":"no play"})", 1, "", "SubtitleMgrCtl: no play\n"},
        {{"--json", "stop"}, R"({"ok":false})", 1, "{\"ok\":false}\n", ""},
        {{"await", "request=Ping"},
         R"({"ok":false,"error":"too late","timedOut":true})",
         4,
         "",
         "SubtitleMgrCtl: too late\n"},
        {{"quit"},
         "pardon?",
         1,
         "",
         "SubtitleMgrCtl: the answer of the service is not a JSON object\n"},
    };
    RawService service(ControlSocket());
    for (const auto& row : rows) {
        const auto program = Launch(row.command);
        const auto connection = service.Accept();
        connection->ReceiveLine();
        connection->Send(row.answer + "\n");
        EXPECT_EQ(program->WaitForExit(), row.status) << row.answer;
        EXPECT_TEXT(program->Output(), row.output);
        EXPECT_TEXT(program->Errors(), row.errors);
    }
}

TEST_F(Control, SendsTheWordsAsOneLine)
{
    RawService service(ControlSocket());
    for (const auto& words : {std::vector<std::string>{"fault", "mute", "times=1"},
                              std::vector<std::string>{"fault  mute\ttimes=1"}}) {
        const auto program = Launch(words);
        const auto connection = service.Accept();
        EXPECT_EQ(connection->ReceiveLine(), "fault mute times=1");
        connection->Send("{\"ok\":true}\n");
        EXPECT_EQ(program->WaitForExit(), 0);
        EXPECT_EQ(program->Output() + program->Errors(), "");
    }
}

TEST_F(Control, ReadsStandardInputAndGoesOnAfterAFailure)
{
    RawService service(ControlSocket());
    const auto program = Launch({"-"});
    program->Write("pause\n\nstte\nstop # now\n" + std::string(70000, 'x') + "\nresume");
    program->CloseInput();
    const auto connection = service.Accept();
    EXPECT_EQ(connection->ReceiveLine(), "pause");
    connection->Send("{\"ok\":true,\"positionUs\":1000}\n");
    EXPECT_EQ(connection->ReceiveLine(), "");
    connection->Send("{\"ok\":true}\n");
    EXPECT_EQ(connection->ReceiveLine(), "stop");
    connection->Send("{\"ok\":false,\"error\":\"no play\"}\n");
    EXPECT_EQ(connection->ReceiveLine(), "resume");
    connection->Send("{\"ok\":true}\n");
    EXPECT_EQ(program->WaitForExit(), 2);  // of the first failure
    EXPECT_TEXT(program->Output(), "position: 0.001 s\n");
    EXPECT_TEXT(program->Errors(),
                "SubtitleMgrCtl: line 3: unknown command 'stte'; did you mean state?\n"
                "SubtitleMgrCtl: line 4: no play\n"
                "SubtitleMgrCtl: line 5: longer than 64 KiB\n");
}

TEST_F(Control, EndsWithStatus3WithoutService)
{
    const auto program = Launch({"state"});
    EXPECT_EQ(program->WaitForExit(), 3);
    EXPECT_EQ(program->Errors(),
              "SubtitleMgrCtl: no service at " + ControlSocket() + ": No such file or directory\n");
}

TEST_F(Control, EndsWithStatus3WhenTheServiceCloses)
{
    RawService service(ControlSocket());
    const auto program = Launch({"-"});
    program->Write("state\nstate\n");
    const auto connection = service.Accept();
    connection->ReceiveLine();
    connection->Send("{\"ok\":tr");
    connection->Close();
    EXPECT_EQ(program->WaitForExit(), 3);
    EXPECT_EQ(program->Errors(),
              "SubtitleMgrCtl: the service closed the connection without an answer\n");
}

TEST_F(Control, EndsWithStatus4WhenTheTimeRunsOut)
{
    const RawService service(ControlSocket());
    const auto program = Launch({"--timeout", "20ms", "await", "request=Ping", "within=30ms"});
    EXPECT_EQ(program->WaitForExit(), 4);
    EXPECT_EQ(program->Errors(), "SubtitleMgrCtl: the service has not answered within 0.050 s\n");
}

TEST_F(Control, EndsWithStatus1WhenTheOutputIsFull)
{
    const Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    ChildProcess::Options settings;
    settings.output = full.Get();
    RawService service(ControlSocket());
    const auto program = Launch({"--json", "state"}, settings);
    const auto connection = service.Accept();
    connection->ReceiveLine();
    connection->Send("{\"ok\":true}\n");
    EXPECT_EQ(program->WaitForExit(), 1);
    EXPECT_EQ(program->Errors(), "SubtitleMgrCtl: standard output: No space left on device\n");
}

TEST_F(Control, SendsNoFurtherLineWhenTheOutputIsFull)
{
    const Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    ChildProcess::Options settings;
    settings.output = full.Get();
    RawService service(ControlSocket());
    const auto program = Launch({"--json", "-"}, settings);
    program->Write("state\nquit\n");
    const auto connection = service.Accept();
    connection->ReceiveLine();
    connection->Send("{\"ok\":true}\n");
    EXPECT_EQ(program->WaitForExit(), 1);
    EXPECT_EQ(program->Errors(), "SubtitleMgrCtl: standard output: No space left on device\n");
}

}  // namespace
