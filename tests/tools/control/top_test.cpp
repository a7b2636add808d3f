#include "tests/tools/control/ControlSession.h"

#include <csignal>

namespace {

/// SubtitleMgrCtl top; the test answers its questions.
class Top : public ControlSession {
protected:
    std::unique_ptr<ChildProcess> Begin(const std::vector<std::string>& words,
                                        const ChildProcess::Options& settings = {})
    {
        auto program = Launch(words, settings);
        connection = service.Accept();
        return program;
    }

    void Answer()
    {
        EXPECT_EQ(connection->ReceiveLine(), "state");
        connection->Send(state);
    }

    const std::string state =
        R"({"ok":true,"regions":[{"regionId":3,"bitmaps":[],"publications":7,"bytes":9}],)"
        R"("level":63,"clients":[],"counters":{"requests":5}})"
        "\n";
    const std::string table = "counters: requests 5\n"
                              "level: 63\n"
                              "\n"
                              "REGION  SHOWN  MESSAGES  BYTES  PALETTE  BITMAPS\n"
                              "     3      -         7      9        -  -\n"
                              "\n"
                              "CLIENT  BACKLOG  BYTES  LOST  STALLED  SUBSCRIPTIONS\n";

    RawService service{ControlSocket()};
    std::unique_ptr<RawConnection> connection;
};

TEST_F(Top, ShowsOneTableOrState)
{
    for (const auto& [option, output] :
         {std::pair<const char*, std::string>{"--once", table}, {"--json", state}}) {
        const auto program = Begin({"top", "--once", option});
        Answer();
        ExpectEnd(*program, 0, output, "");
    }
}

TEST_F(Top, ShowsRatesAfterASecond)
{
    const auto program = Begin({"top"});
    Answer();
    Answer();
    program->WaitForOutput(table + "\ncounters: requests 5 (0/s)\n");
    program->WaitForOutput("REGION  SHOWN  MESSAGES  /S  BYTES  /S  PALETTE  BITMAPS\n"
                           "     3      -         7   0      9   0        -  -\n");
}

TEST_F(Top, EndsWithStatus0OnASignal)
{
    for (const int number : {SIGINT, SIGTERM}) {
        const auto program = Begin({"top"});
        Answer();
        program->WaitForOutput(table);
        program->Signal(number);
        ExpectEnd(*program, 0, table + "\n", "");
    }
}

TEST_F(Top, ObeysASignalWhileTheServiceIsSilent)
{
    const auto program = Begin({"top", "--timeout", "1000"});
    EXPECT_EQ(connection->ReceiveLine(), "state");
    program->Signal(SIGINT);
    ExpectEnd(*program, 0, "", "");
}

TEST_F(Top, EndsWithStatus3WhenTheServiceCloses)
{
    const auto program = Begin({"top"});
    connection->Close();
    EXPECT_EQ(program->WaitForExit(), 3);
}

TEST_F(Top, DrawsOnATerminalWithBoldHeadingsUnlessNoColorIsSet)
{
    for (const bool isPlain : {false, true}) {
        ChildProcess::Options settings;
        settings.onTerminal = true;
        settings.environment = {{"TERM", "xterm"}, {"NO_COLOR", isPlain ? "1" : ""}};
        const auto program = Begin({"top"}, settings);
        Answer();
        program->WaitForOutput("\x1b[J");
        EXPECT_EQ(program->Output().substr(0, 27), "\x1b[Hcounters: requests 5\x1b[K\r");
        EXPECT_EQ(program->Output().find("\x1b[1mREGION") == std::string::npos, isPlain);
    }
}

}  // namespace
