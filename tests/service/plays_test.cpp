// Plays of recordings: from a file, a pipe, and beside the options that limit them.

#include "tests/service/SimulatorSession.h"

#include "platform/src/deadline.h"

namespace {

class Play : public SimulatorSession {
protected:
    void ExpectRegion(WireClient& client, unsigned int region)
    {
        EXPECT_EQ(client.ReceiveBytes(),
                  NotificationBytes(6, messages::regionVisItem, VisibilityRecord(region, true)));
    }

    /// The first line on standard error, and \p next.
    std::string ServingAnd(const std::string& next) const
    {
        return "SubtitleMgrSim: serving " + service.SocketPath() + "\nSubtitleMgrSim: " + next;
    }

    std::string Recording(const std::string& lines)
    {
        WriteWholeFile(files / "drive.jsonl", lines);
        return files / "drive.jsonl";
    }
};

TEST_F(Play, OfAPipeShowsEachMessageAsItArrives)
{
    service.Option("--play").Option("-").Start();
    WireClient client = Connect({6});
    const std::string second = VisibilityLine(2);
    service.Process().Write(VisibilityLine(1) + second.substr(0, 20));
    ExpectRegion(client, 1);
    EXPECT_EQ(client.Ask(messages::ping), "");
    service.Process().Write(second.substr(20));
    ExpectRegion(client, 2);
    service.Process().CloseInput();
    service.Process().WaitForErrors("SubtitleMgrSim: recording ended\n");
    EXPECT_EQ(client.Ask(messages::ping), "");
}

TEST_F(Play, OfAPipeIsSteppedAndSoughtForwards)
{
    service.Option("--play").Option("-").Option("--paused").Start();
    service.Process().Write(recordingHeader + VisibilityLine(1) + VisibilityLine(2, 1000000) +
                            VisibilityLine(3, 2000000));
    ControlClient control = Operate();
    ControlClient other = Operate();
    EXPECT_EQ(control.Ask("step"), R"({"ok":true,"positionUs":0})");
    EXPECT_EQ(control.Ask("seek 2s"), R"({"ok":true,"positionUs":2000000})");
    EXPECT_EQ(control.Ask("seek 1s"), Failed("the play cannot go there now"));
    EXPECT_EQ(control.Ask("step"), R"({"ok":true,"positionUs":2000000})");
    control.Send("step\n");
    service.Process().Write(VisibilityLine(4, 3000000));
    EXPECT_EQ(control.ReceiveLine(), R"({"ok":true,"positionUs":3000000})");
    control.Send("step\n");
    for (const Deadline limit(10000);
         other.Ask("state").find(R"("waitsFor":"input")") == std::string::npos;) {
        ASSERT_FALSE(limit.HasPassed());
    }
    EXPECT_EQ(other.Ask("stop"), done);
    EXPECT_EQ(control.ReceiveLine(), Failed("nothing is played"));
}

TEST_F(Play, OfAPipeEndsAtAMistakeAndTheServiceGoesOn)
{
    service.Quiet().Option("--play").Option("-").Start();
    WireClient client = Connect({6});
    service.Process().Write(recordingHeader + VisibilityLine(1) + "visibility 2 t\n" +
                            VisibilityLine(3));
    ExpectRegion(client, 1);
    service.Process().WaitForErrors("SubtitleMgrSim: -:3:1: Invalid value.\n");
    EXPECT_EQ(client.Ask(messages::ping), "");
    EXPECT_EQ(service.Process().Errors(), "SubtitleMgrSim: -:3:1: Invalid value.\n");
}

TEST_F(Play, OfAFileOnStandardInputEndsWithTheFile)
{
    const auto program =
        LaunchShell("exec \"$0\" --play - --exit-at-end <" + Recording(VisibilityLine(1)));
    ExpectCleanEnd(*program);
    EXPECT_EQ(program->Errors(), ServingAnd("recording ended\n"));
}

TEST_F(Play, OfAScenarioWritesItsLogLines)
{
    service.Quiet().Play("log all is  well\n").Start();
    service.Process().WaitForErrors("SubtitleMgrSim: all is well\n");
}

TEST_F(Play, LeavesStandardInputBlocking)
{
    const auto program = LaunchShell(
        "\"$0\" --play - --for 10ms; readlink /proc/self/fd/0; grep flags /proc/self/fdinfo/0");
    program->WaitForExit();
    // O_NONBLOCK is 04000.
    EXPECT_NE(program->Output().find("pipe:"), std::string::npos) << program->Output();
    EXPECT_NE(program->Output().find("flags:\t00\n"), std::string::npos) << program->Output();
}

TEST_F(Play, EndsTheServiceWhenItIsOver)
{
    const std::string path = Recording(recordingHeader + VisibilityLine(1) +
                                       VisibilityLine(2, 1000) + VisibilityLine(3, 30000000));
    for (const auto& [option, value] : {std::pair("--rate", "1000"), std::pair("--rate", "0"),
                                        std::pair("--until", "1s"), std::pair("--from", "29.9")}) {
        const Ended ended = RunToEnd({"--play", path, "--exit-at-end", option, value});
        EXPECT_EQ(ended.status, 0);
        EXPECT_EQ(ended.output, "ready\n");
        EXPECT_EQ(ended.errors, ServingAnd("recording ended\n"));
    }
}

TEST_F(Play, EndsTheServiceWithStatus2AfterAMistake)
{
    const auto program = Launch({"--play", "-", "--exit-at-end"});
    program->WaitForOutput("ready\n");
    program->Write("[]\n");
    EXPECT_EQ(program->WaitForExit(), 2);
    EXPECT_EQ(program->Errors(), ServingAnd("-:1:1: not an object\n"));
}

TEST_F(Play, OfARecordingWaitsForItsRequests)
{
    const std::string path =
        Recording(recordingHeader +
                  R"({"monoUs":0,"wallUs":0,"request":"Subscribe","client":1,"subscription":6,)"
                  R"("itemId":15132,"result":"ok"})"
                  "\n" +
                  VisibilityLine(1) + VisibilityLine(2));
    const auto program = Launch({"--play", path, "--regions", "2-9", "--await-requests"});
    program->WaitForOutput("ready\n");
    WireClient client = Connect({6});
    ExpectRegion(client, 2);
    program->WaitForErrors("SubtitleMgrSim: recording ended\n");
}

TEST_F(Play, OfABadRecordingDoesNotBegin)
{
    const std::string path = Recording(recordingHeader + VisibilityLine(1) + "{");
    for (const char* option : {"--play", "--check"}) {
        const Ended ended = RunToEnd({option, path});
        EXPECT_EQ(ended.status, 2);
        EXPECT_EQ(ended.output, "");
        EXPECT_EQ(ended.errors, path + ":3:2: the line has no end; the recording is incomplete\n");
    }
}

TEST_F(Play, LastsAsLongAsTheServiceIsAllowedTo)
{
    const Deadline atLeast(100);
    const Ended ended =
        RunToEnd({"--for", "100ms", "--play", Recording(recordingHeader + VisibilityLine(1)),
                  "--loop", "--quiet"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_TRUE(atLeast.HasPassed());
}

}  // namespace
