// Lines to the control socket, what is shown of the answers, and the exit status.

#include "tests/tools/control/ControlSession.h"

#include <fcntl.h>

namespace {

/// The test answers in place of a service.
class Control : public ControlSession {
protected:
    void AcceptAndAnswer(const std::string& line, const std::string& answer)
    {
        connection = connection ? std::move(connection) : service.Accept();
        EXPECT_EQ(connection->ReceiveLine(), line);
        connection->Send(answer);
    }

    RawService service{ControlSocket()};
    std::unique_ptr<RawConnection> connection;
};

TEST_F(Control, SendsALineAndEndsAsTheAnswerSays)
{
    const struct {
        std::vector<std::string> command;
        std::string line;
        std::string answer;
        int status;
        std::string output;
        std::string problem;
    } rows[] = {
        {{"log", "a"}, "log a", R"({"ok":true,"receivers":2})", 0, "receivers: 2\n", ""},
        {{"fault  mute\ttimes=1"}, "fault mute times=1", R"({"ok":true})", 0, "", ""},
        {{"--json", "stop"}, "stop", R"({"ok":true,  "x":5})", 0, "{\"ok\":true,  \"x\":5}\n", ""},
        {{"--json", "stop"}, "stop", R"({"ok":false})", 1, "{\"ok\":false}\n", ""},
        {{"stop"}, "stop", R"({"ok":false,"error":"no play"})", 1, "", "no play"},
        {{"stop"}, "stop", R"({"ok":false,"timedOut":true})", 4, "", "refused"},
        {{"quit"}, "quit", "what?", 1, "", "the answer of the service is not a JSON object"},
    };
    for (const auto& row : rows) {
        const auto program = Launch(row.command);
        AcceptAndAnswer(row.line, row.answer + "\n");
        ExpectEnd(*program, row.status, row.output, row.problem);
        connection.reset();
    }
}

TEST_F(Control, ReadsStandardInputAndGoesOnAfterAFailure)
{
    const auto program = Launch({"-"});
    program->Write("pause\n\nstte\nstop # now\n" + std::string(70000, 'x') + "\nresume");
    program->CloseInput();
    AcceptAndAnswer("pause", "{\"ok\":true,\"positionUs\":1000}\n");
    AcceptAndAnswer("", "{\"ok\":true}\n");
    AcceptAndAnswer("stop", "{\"ok\":false,\"error\":\"no play\"}\n");
    AcceptAndAnswer("resume", "{\"ok\":true}\n");
    EXPECT_EQ(program->WaitForExit(), 2);  // of the first failure
    EXPECT_TEXT(program->Output(), "position: 0.001 s\n");
    EXPECT_TEXT(program->Errors(),
                "SubtitleMgrCtl: line 3: unknown command 'stte'; did you mean state?\n"
                "SubtitleMgrCtl: line 4: no play\n"
                "SubtitleMgrCtl: line 5: longer than 64 KiB\n");
}

TEST_F(Control, EndsWithStatus3WhenTheServiceCloses)
{
    const auto program = Launch({"-"});
    program->Write("state\nstate\n");
    AcceptAndAnswer("state", "{\"ok\":tr");
    connection->Close();
    ExpectEnd(*program, 3, "", "the service closed the connection without an answer");
}

TEST_F(Control, EndsWithStatus4WhenTheTimeRunsOut)
{
    const auto program = Launch({"--timeout", "20ms", "await", "request=Ping", "within=30ms"});
    ExpectEnd(*program, 4, "", "the service has not answered within 0.050 s");
}

TEST_F(Control, SendsNoFurtherLineWhenTheOutputIsFull)
{
    const Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    ChildProcess::Options settings;
    settings.output = full.Get();
    const auto program = Launch({"--json", "-"}, settings);
    program->Write("state\nquit\n");
    AcceptAndAnswer("state", "{\"ok\":true}\n");
    ExpectEnd(*program, 1, "", "standard output: No space left on device");
}

}  // namespace
