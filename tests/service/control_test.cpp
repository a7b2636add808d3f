// The control socket: its lines and their answers, files, and clients that misbehave.

#include "tests/service/SimulatorSession.h"

#include <algorithm>
#include <filesystem>
#include <thread>

namespace {

const std::string timedOut = R"({"ok":false,"error":"the time ran out","timedOut":true})";

class Control : public SimulatorSession {
protected:
    /// What a service keeps, as far as a file brings it back.
    static std::string Kept(ControlClient& control)
    {
        const std::string state = control.Ask("state");
        std::string kept = state.substr(0, state.find(R"(,"clients")"));
        for (std::size_t at; (at = kept.find(R"(,"publications")")) != std::string::npos;) {
            kept.erase(at, kept.find('}', at) - at);
        }
        return kept;
    }

    ControlClient control{service.Start().SocketPath() + ".control"};
};

TEST_F(Control, HasPublishedAndCountedReceiversWhenItAnswers)
{
    EXPECT_EQ(control.Ask("visibility 3 yes"), R"({"ok":true,"receivers":0})");
    WireClient one = Connect({4});
    WireClient other = Connect({4});
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(control.Ask("region-data 3 cif 00010203ff"), R"({"ok":true,"receivers":2})");
        EXPECT_TRUE(one.HasInput() && other.HasInput()) << i;
        EXPECT_EQ(one.ReceiveBytes(),
                  NotificationBytes(4, messages::regionDataItem,
                                    RegionDataRecord(3, 2, Bytes({0, 1, 2, 3, 255}))));
        other.ReceiveFrame();
    }
}

TEST_F(Control, AnswersEveryLineInOrder)
{
    const struct {
        const char* line;
        std::string answer;
    } cases[] = {
        {"", done},
        {"   # a comment", done},
        {"visibilty 3 t", Failed("unknown directive 'visibilty'; did you mean visibility?")},
        {"visibility 300 maybe",
         Failed("region '300' is not a number from 0 to 255; visible 'maybe' is not true or "
                "false")},
        {"sleep 1", done},
        {"log all is well", done},
        {"await subscribers=10 within=1ms", timedOut},
        {"await subscribers=5 within=1ms",
         Failed("there is no subscription '5'; there are 1, 2, 3, 4, 6, 10 and 12")},
        {"await subscribers=10 within=soon",
         Failed("within 'soon' is not a time, like 500ms or 2s")},
        {"await subscribers=10 within=1 within=2",
         Failed("'within=2' does not go with subscribers=")},
        {"await subscribers=10 withn=1ms",
         Failed("'withn=1ms' does not go with subscribers=; did you mean within?")},
        {"await reqest=Ping", Failed("request= is missing; did you mean request?")},
        {"await request=Pong", Failed("'Pong' is not a request; did you mean Ping?")},
        {"disconnect 7", Failed("there is no client '7'")},
    };
    std::string lines;
    for (const auto& one : cases) {
        lines += std::string(one.line) + "\n";
    }
    control.Send(lines);
    for (const auto& one : cases) {
        EXPECT_EQ(control.ReceiveLine(), one.answer) << one.line;
    }
    service.Process().WaitForErrors("SubtitleMgrSim: all is well\n");
    EXPECT_EQ(control.Ask("record " + files.Path() + "/record" + '\0' + "ing"),
              Failed("a NUL character"));
    EXPECT_TRUE(std::filesystem::is_empty(files.Path()));
}

TEST_F(Control, ShowsTheState)
{
    WireClient client = Connect({1, 10});
    client.Ask(messages::sendSensorUpdate, U32(1) + Bytes({1}));
    client.Ask(messages::setLogLevel, U32(7));
    client.Ask(messages::invertRegionData, U32(15));
    control.Ask("region-data 3 cif 00010203ff");
    control.Ask("region-data 14 9 -");
    control.Ask("visibility 3 t");
    control.Ask("palette 3 31 t 10ff");
    // Its two bitmaps and its palette: then the backlog is empty.
    for (int received = 0; received < 3; ++received) {
        client.ReceiveFrame();
    }
    EXPECT_EQ(
        control.Ask("state"),
        R"({"ok":true,"regions":[)"
        R"({"regionId":3,"bitmaps":[{"subtitleFormat":2,"size":5,"crc32":"7b35f858"}],)"
        R"("visible":true,"palette":{"size":2,"crc32":"2619ef23","fill":true,)"
        R"("backgroundCode":31},"publications":3,"bytes":70},)"
        R"({"regionId":14,"bitmaps":[{"subtitleFormat":9,"size":0,"crc32":"00000000"}],)"
        R"("publications":1,"bytes":22}],)"
        R"("sensors":[false,true,false,false,false,false],"level":7,)"
        R"("clients":[{"client":1,"subscriptions":[1,10],"backlog":0,"backlogBytes":0,"lost":0,)"
        R"("stalled":false}],"counters":{"requests":5,"refused":1,"publications":4,"bytes":92},)"
        R"("play":{"state":"none"},"faults":[]})");
}

TEST_F(Control, AwaitsASubscription)
{
    control.Send("await subscribers=10 within=30s\nlog after\n");
    const WireClient client = Connect({10});
    EXPECT_EQ(control.ReceiveLine(), done);
    EXPECT_EQ(control.ReceiveLine(), done);
    EXPECT_EQ(control.Ask("wait-subscribers 10"), done);
}

TEST_F(Control, AwaitsRequestsThatCameBeforeAndAfter)
{
    WireClient client = Connect();
    client.Ask(messages::ping);
    ControlClient late = Operate();
    EXPECT_EQ(late.Ask("await request=Ping within=1ms"), timedOut) << "came before it connected";
    client.Ask(messages::ping);
    client.Ask(messages::setRegionVisibility, Bytes({3, 1}));
    EXPECT_EQ(late.Ask("await request=SetRegionVisibility regionId=3 visible=true"), done);
    EXPECT_EQ(late.Ask("await request=Ping within=1ms"), timedOut) << "before the last match";
    late.Send("await request=SetRegionVisibility regionId=4 within=30s\n");
    client.Ask(messages::setRegionVisibility, Bytes({3, 0}));
    client.Ask(messages::setRegionVisibility, Bytes({4, 0}));
    EXPECT_EQ(late.ReceiveLine(), done);
}

TEST_F(Control, DisconnectsAClient)
{
    WireClient client = Connect();
    client.Ask(messages::ping);
    EXPECT_EQ(control.Ask("disconnect 1"), done);
    client.ExpectClosed();
    EXPECT_EQ(control.Ask("disconnect 1"), Failed("there is no client '1'"));
    service.Process().WaitForErrors("SubtitleMgrSim: client 1: disconnected by control\n");
}

using ControlFiles = Control;

TEST_F(ControlFiles, BringAStateBackAndPublishIt)
{
    const std::string saved = files / "saved";
    const std::string empty = Kept(control);
    EXPECT_EQ(control.Ask("save " + files / "empty"), R"({"ok":true,"records":0})");
    WireClient client = Connect();
    client.Ask(messages::setRegionData, RegionDataRecord(1, 0, Bytes({0, 7, 255})));
    client.Ask(messages::setRegionVisibility, Bytes({1, 1}));
    client.Ask(messages::setPaletteData, PaletteRecord(1, 31, true, "pal"));
    client.Ask(messages::invertRegionData, U32(1));
    client.Ask(messages::sendSensorUpdate, U32(5) + Bytes({1}));
    client.Ask(messages::setLogLevel, U32(9));
    control.Ask("region-data 2 sd 0102");
    control.Ask("region-data 14 200 -");
    const std::string full = Kept(control);
    EXPECT_EQ(control.Ask("save " + saved), R"({"ok":true,"records":7})");

    EXPECT_EQ(control.Ask("restore " + files / "empty"), done);
    EXPECT_EQ(Kept(control), empty);
    client.Subscribe(6);
    EXPECT_EQ(control.Ask("restore " + saved), done);
    EXPECT_EQ(Kept(control), full);
    EXPECT_EQ(client.ReceiveBytes(), NotificationBytes(6, messages::regionVisItem, Bytes({1, 1})));

    service.Stop();
    service.Option("--state").Option(saved).Start();
    ControlClient next = Operate();
    EXPECT_EQ(Kept(next), full);
}

TEST_F(ControlFiles, ThatCannotBeUsedChangeNothing)
{
    const std::string torn = files / "torn";
    WriteWholeFile(torn, recordingHeader + "{");
    WriteWholeFile(files / "empty", "");
    const std::string mistake = torn + ":2:2: the line has no end; the recording is incomplete";
    control.Ask("visibility 3 t");
    const std::string before = Kept(control);
    EXPECT_EQ(control.Ask("restore " + torn), Failed(mistake));
    EXPECT_EQ(control.Ask("play " + torn), Failed(mistake));
    EXPECT_EQ(control.Ask("restore /nowhere"),
              Failed("/nowhere: cannot be read: No such file or directory"));
    EXPECT_EQ(control.Ask("restore " + files / "empty"),
              Failed((files / "empty") + ": is not a recording"));
    EXPECT_EQ(control.Ask("save " + files.Path()), Failed(files.Path() + ": is not a file"));
    EXPECT_EQ(control.Ask("save /nowhere/file"),
              Failed("/nowhere/file: No such file or directory"));
    EXPECT_EQ(Kept(control), before);
    EXPECT_EQ(RunToEnd({"--name", "other", "--state", torn}).status, 2);
}

TEST_F(ControlFiles, ArePlayedByControl)
{
    const std::string path = files / "drive";
    WriteWholeFile(path, recordingHeader + VisibilityLine(1) + VisibilityLine(2, 2000000) +
                             VisibilityLine(3, 4000000));
    WireClient client = Connect({6});
    control.Ask("play " + path + " rate=0 until=3s");
    EXPECT_EQ(client.ReceiveBytes(), NotificationBytes(6, messages::regionVisItem, Bytes({1, 1})));
    EXPECT_EQ(client.ReceiveBytes(), NotificationBytes(6, messages::regionVisItem, Bytes({2, 1})));
    EXPECT_EQ(client.Ask(messages::ping), "");
    const std::string play = "play " + path + " ";
    const struct {
        std::string line;
        std::string answer;
    } rows[] = {
        {play + "rate=fast", Failed("'fast' is not a rate")},
        {play + "from=soon", Failed("'soon' is not a time, like 500ms or 2s")},
        {play + "lop", Failed("unknown option 'lop'; did you mean loop?")},
        {play + "from=2s until=2s", Failed("until is not after from")},
        {play + "paused from=2s", R"({"ok":true,"positionUs":2000000})"},
        {"seek 0", R"({"ok":true,"positionUs":0})"},
        {"step 2", R"({"ok":true,"positionUs":2000000})"},
        {"pause", R"({"ok":true,"positionUs":2000000})"},
        {"step 7", R"({"ok":true,"positionUs":4000000})"},
        {"pause", Failed("the play has ended")},
        {"resume", Failed("the play has ended")},
        {"step 0", Failed("the play has ended")},
        {"seek 2s", R"({"ok":true,"positionUs":2000000})"},
        {"stop", done},
        {"stop", Failed("nothing is played")},
        {"resume", Failed("nothing is played")},
        {"seek 1", Failed("nothing is played")},
        {"seek soon", Failed("'soon' is not a time, like 500ms or 2s")},
        {"step -1", Failed("'-1' is not a number from 0 to 4294967295")},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(control.Ask(row.line), row.answer) << row.line;
    }
}

using ControlClients = Control;

TEST_F(ControlClients, MaySendLinesOf64KiBAndNotMore)
{
    const std::string tooLong = Failed("the line is longer than 65536 bytes");
    EXPECT_EQ(control.Ask('#' + std::string(65535, 'x')), done);
    EXPECT_EQ(control.Ask('#' + std::string(65536, 'x')), tooLong);
    EXPECT_EQ(control.Ask('#' + std::string(1000000, 'x')), tooLong);
    EXPECT_EQ(control.Ask("log after"), done);
}

TEST_F(ControlClients, GetTheirAnswersAfterTheyEndedSending)
{
    control.Send("sleep 10ms\nlog x\nquit");
    control.EndSending();
    EXPECT_EQ(control.ReceiveLine(), done);
    EXPECT_EQ(control.ReceiveLine(), done);
    EXPECT_EQ(control.ReceiveLine(), Failed("the line has no end"));
    control.ExpectClosed();
}

TEST_F(ControlClients, AreDisconnectedAtTheEndWhileTheyWait)
{
    Operate().Send("await subscribers=10 within=1000s\n");  // and leaves
    ControlClient waiting = Operate();
    waiting.Send("await subscribers=10 within=30s\nlog never\n");
    EXPECT_EQ(Operate().Ask("quit"), done);
    waiting.ExpectClosed();
    ExpectCleanEnd();
    EXPECT_EQ(service.Process().Errors().find("never"), std::string::npos);
}

TEST_F(ControlClients, AreDroppedWhenTheyDoNotRead)
{
    ControlClient deaf = Operate();
    std::string lines;
    for (int i = 0; i < 3000; ++i) {
        lines += "state\n";
    }
    deaf.Send(lines);
    deaf.ExpectHangUp();
    EXPECT_EQ(Operate().Ask("log x"), done);
}

TEST_F(ControlClients, PublishNoFasterThanSubscribersRead)
{
    constexpr int count = 1500;
    WireClient client = Connect({4});
    std::thread sender([&] {
        for (int i = 0; i < count; ++i) {
            control.Send("region-data 3 cif " + std::string(4096, '0') + "\n");
        }
    });
    int answers = 0;
    for (int i = 0; i < count; ++i) {
        for (; answers < std::min(300 + i, count); ++answers) {
            EXPECT_EQ(control.ReceiveLine(), R"({"ok":true,"receivers":1})");
        }
        client.ReceiveFrame();
    }
    sender.join();
}

TEST_F(ControlClients, NeverKeepAClientOfTheServiceWaiting)
{
    std::vector<ControlClient> crowd;
    for (int i = 0; i < 200; ++i) {
        crowd.push_back(Operate());
        crowd.back().Send(i % 4 == 0   ? std::string(500, static_cast<char>(i)) + "\nstate\n"
                          : i % 4 == 1 ? std::string(60000, 'x')
                          : i % 4 == 2 ? "await subscribers=10 within=1000s\n"
                                       : "sta");
    }
    WireClient client = Connect();
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(client.Ask(messages::ping), "");
    }
    EXPECT_EQ(crowd[3].Ask("te").substr(0, 10), R"({"ok":true)");
}

}  // namespace
