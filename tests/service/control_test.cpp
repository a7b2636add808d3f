// The lines of the control socket and their answers.

#include "tests/service/SimulatorSession.h"

#include <filesystem>

namespace {

const std::string timedOut = R"({"ok":false,"error":"the time ran out","timedOut":true})";

class Control : public SimulatorSession {
protected:
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

}  // namespace
