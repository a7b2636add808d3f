#include "tests/harness/text_compare.h"
#include "tests/tools/control/ControlSession.h"

#include <csignal>

namespace {

/// SubtitleMgrCtl top; the test answers its questions.
class Top : public ControlSession {
protected:
    void Accept() { connection = service.Accept(); }

    /// Answers one question with \p requests counted so far.
    std::string Answer(int requests)
    {
        const std::string state =
            R"({"ok":true,"regions":[{"regionId":3,"bitmaps":[],"publications":7,"bytes":9}],"level":63,)"
            R"("clients":[],"counters":{"requests":)" +
            std::to_string(requests) + "}}";
        EXPECT_EQ(connection->ReceiveLine(), "state");
        connection->Send(state + "\n");
        return state;
    }

    const std::string firstTable = "counters: requests 5\n"
                                   "level: 63\n"
                                   "\n"
                                   "REGION  SHOWN  MESSAGES  BYTES  PALETTE  BITMAPS\n"
                                   "     3      -         7      9        -  -\n"
                                   "\n"
                                   "CLIENT  BACKLOG  BYTES  LOST  STALLED  SUBSCRIPTIONS\n";

    RawService service{ControlSocket()};
    std::unique_ptr<RawConnection> connection;
};

TEST_F(Top, ShowsOneTable)
{
    const auto program = Launch({"top", "--once"});
    Accept();
    Answer(5);
    EXPECT_EQ(program->WaitForExit(), 0);
    EXPECT_TEXT(program->Output(), firstTable);
}

TEST_F(Top, ShowsRates)
{
    const auto program = Launch({"top"});
    Accept();
    Answer(5);
    Answer(5);
    program->WaitForOutput(firstTable + "\ncounters: requests 5 (0/s)\n");
    program->WaitForOutput("REGION  SHOWN  MESSAGES  /S  BYTES  /S  PALETTE  BITMAPS\n"
                           "     3      -         7   0      9   0        -  -\n");
}

TEST_F(Top, EndsWithStatus0OnASignal)
{
    for (const int number : {SIGINT, SIGTERM}) {
        const auto program = Launch({"top"});
        Accept();
        Answer(5);
        program->WaitForOutput(firstTable);
        program->Signal(number);
        EXPECT_EQ(program->WaitForExit(), 0) << number;
        EXPECT_TEXT(program->Errors(), "");
    }
}

TEST_F(Top, ObeysASignalWhileTheServiceIsSilent)
{
    const auto program = Launch({"top", "--timeout", "1000"});
    Accept();
    EXPECT_EQ(connection->ReceiveLine(), "state");
    program->Signal(SIGINT);
    EXPECT_EQ(program->WaitForExit(), 0);
    EXPECT_EQ(program->Output(), "");
}

TEST_F(Top, WritesStatesAsTheyCame)
{
    const auto program = Launch({"top", "--json"});
    Accept();
    program->WaitForOutput(Answer(5) + "\n");
    program->WaitForOutput(Answer(6) + "\n");
}

TEST_F(Top, WritesMetricsOnce)
{
    const auto program = Launch({"top", "--prometheus"});
    Accept();
    Answer(5);
    EXPECT_EQ(program->WaitForExit(), 0);
    EXPECT_EQ(program->Output().substr(0, 142),
              "# HELP subtitle_requests_total Requests received.\n"
              "# TYPE subtitle_requests_total counter\n"
              "subtitle_requests_total{service=\"SubtitleMgr\"} 5\n"
              "# HE");
}

TEST_F(Top, DrawsOnATerminalWithBoldHeadingsUnlessNoColorIsSet)
{
    for (const bool isPlain : {false, true}) {
        ChildProcess::Options settings;
        settings.onTerminal = true;
        settings.environment = {{"TERM", "xterm"}, {"NO_COLOR", isPlain ? "1" : ""}};
        const auto program = Launch({"top"}, settings);
        Accept();
        Answer(5);
        program->WaitForOutput("\x1b[J");
        EXPECT_EQ(program->Output().substr(0, 27), "\x1b[Hcounters: requests 5\x1b[K\r");
        EXPECT_EQ(program->Output().find("\x1b[1mREGION") == std::string::npos, isPlain);
    }
}

TEST_F(Top, EndsWithStatus3WhenTheServiceCloses)
{
    const auto program = Launch({"top"});
    Accept();
    Answer(5);
    connection->ReceiveLine();
    connection->Close();
    EXPECT_EQ(program->WaitForExit(), 3);
}

}  // namespace
