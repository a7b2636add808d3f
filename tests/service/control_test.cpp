// The lines of the control socket and their answers.

#include "tests/service/ControlClient.h"
#include "tests/service/SimulatorSession.h"

#include <algorithm>
#include <filesystem>
#include <sys/stat.h>

namespace {

const std::string done = R"({"ok":true})";
const std::string timedOut = R"({"ok":false,"error":"the time ran out","timedOut":true})";

std::string Refused(const std::string& error)
{
    return R"({"ok":false,"error":")" + error + R"("})";
}

class Control : public SimulatorSession {
protected:
    ControlClient Operate() const { return ControlClient(service.SocketPath()); }

    std::string State(const std::string& regions, const std::string& rest) const
    {
        return R"({"ok":true,"regions":[)" + regions + "]," + rest + "}";
    }
};

TEST_F(Control, SocketIsItsUsersAloneAndGoesWithTheService)
{
    service.Start();
    struct stat found {};
    ASSERT_EQ(stat((service.SocketPath() + ".control").c_str(), &found), 0);
    EXPECT_TRUE(S_ISSOCK(found.st_mode));
    EXPECT_EQ(found.st_mode & 07777, 0600u);
    service.Process().Signal(SIGTERM);
    ExpectCleanEnd(service.Process());
}

TEST_F(Control, PublishesAndCountsTheReceivers)
{
    service.Start();
    ControlClient control = Operate();
    EXPECT_EQ(control.Ask("visibility 3 yes"), R"({"ok":true,"receivers":0})");
    WireClient one = Connect();
    WireClient other = Connect();
    for (WireClient* client : {&one, &other}) {
        client->Subscribe(4);
        client->Subscribe(10);
    }
    EXPECT_EQ(control.Ask("region-data 3 cif 00010203ff"), R"({"ok":true,"receivers":2})");
    EXPECT_EQ(control.Ask("palette 3 31 t 10ff"), R"({"ok":true,"receivers":2})");
    EXPECT_EQ(one.ReceiveBytes(),
              NotificationBytes(4, messages::regionDataItem,
                                RegionDataRecord(3, 2, Bytes({0, 1, 2, 3, 255}))));
    EXPECT_EQ(one.ReceiveBytes(),
              NotificationBytes(10, messages::paletteItem, PaletteRecord(3, 31, true, "\x10\xff")));
}

TEST_F(Control, HasPublishedWhenItAnswers)
{
    service.Start();
    ControlClient control = Operate();
    WireClient client = Connect();
    client.Subscribe(6);
    for (int i = 0; i < 100; ++i) {
        control.Ask("visibility 3 t");
        EXPECT_TRUE(client.HasInput()) << i;
        client.ReceiveFrame();
    }
}

struct LineAndAnswer {
    const char* line;
    std::string answer;
};

TEST_F(Control, AnswersEveryLineInOrder)
{
    const LineAndAnswer cases[] = {
        {"", done},
        {"   # a comment", done},
        {"visibilty 3 t", Refused("unknown directive 'visibilty'; did you mean visibility?")},
        {"visibility 3", Refused("expected: visibility REGION true|false")},
        {"visibility 300 maybe",
         Refused(
             "region '300' is not a number from 0 to 255; visible 'maybe' is not true or false")},
        {"repeat 3", Refused("repeat is allowed only in a scenario")},
        {"sleep 1", done},
        {"log all is well", done},
        {"await subscribers=10 within=1ms", timedOut},
        {"await subscribers=5 within=1ms",
         Refused("there is no subscription '5'; there are 1, 2, 3, 4, 6, 10 and 12")},
        {"await subscribers=10 within=soon",
         Refused("within 'soon' is not a time, like 500ms or 2s")},
        {"await subscribers=", Refused("there is no subscription ''; there are 1, 2, 3, 4, 6, 10 "
                                       "and 12")},
        {"await subscribers=10 within=1 within=2",
         Refused("'within=2' does not go with subscribers=")},
        {"await subscribers=10 request=Ping",
         Refused("'request=Ping' does not go with subscribers=")},
        {"await request=Pong", Refused("'Pong' is not a request; did you mean Ping?")},
        {"await request=Ping within=1ms", timedOut},
        {"disconnect 7", Refused("there is no client '7'")},
        {"\x01\xff", Refused("unknown directive '?\?'")},
    };
    service.Start();
    ControlClient control = Operate();
    std::string lines;
    for (const LineAndAnswer& one : cases) {
        lines += std::string(one.line) + "\n";
    }
    control.Send(lines);
    for (const LineAndAnswer& one : cases) {
        EXPECT_EQ(control.ReceiveLine(), one.answer) << one.line;
    }
    service.Process().WaitForErrors("SubtitleMgrSim: all is well\n");
    control.Send(std::string("record ") + files.Path() + "/record" + '\0' + "ing\n");
    EXPECT_EQ(control.ReceiveLine(), Refused("a NUL character"));
    EXPECT_TRUE(std::filesystem::is_empty(files.Path()));
}

TEST_F(Control, ShowsTheState)
{
    const std::string rest =
        R"("sensors":[false,true,false,false,false,false],"level":7,)"
        R"("clients":[{"client":1,"subscriptions":[1,10],"backlog":0,"backlogBytes":0,"lost":0,)"
        R"("stalled":false}],"counters":{"requests":5,"refused":1,"publications":4,"bytes":92},"play":{"state":"none"},"faults":[])";
    service.Quiet().Start();
    ControlClient control = Operate();
    WireClient client = Connect();
    client.Subscribe(1);
    client.Subscribe(10);
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
        State(R"({"regionId":3,"bitmaps":[{"subtitleFormat":2,"size":5,"crc32":"7b35f858"}],)"
              R"("visible":true,"palette":{"size":2,"crc32":"2619ef23","fill":true,)"
              R"("backgroundCode":31},"publications":3,"bytes":70},)"
              R"({"regionId":14,"bitmaps":[{"subtitleFormat":9,"size":0,"crc32":"00000000"}],)"
              R"("publications":1,"bytes":22})",
              rest));
}

TEST_F(Control, AwaitsASubscription)
{
    service.Start();
    ControlClient control = Operate();
    control.Send("await subscribers=10 within=30s\nlog after\n");
    WireClient client = Connect();
    client.Subscribe(10);
    EXPECT_EQ(control.ReceiveLine(), done);
    EXPECT_EQ(control.ReceiveLine(), done);
    EXPECT_EQ(control.Ask("wait-subscribers 10"), done);
}

TEST_F(Control, AwaitsRequestsThatCameBeforeAndAfter)
{
    service.Start();
    WireClient client = Connect();
    client.Ask(messages::ping);
    ControlClient control = Operate();
    EXPECT_EQ(control.Ask("await request=Ping within=1ms"), timedOut) << "came before it connected";
    client.Ask(messages::ping);
    client.Ask(messages::setRegionVisibility, Bytes({3, 1}));
    EXPECT_EQ(control.Ask("await request=SetRegionVisibility regionId=3 visible=true"), done);
    EXPECT_EQ(control.Ask("await request=Ping within=1ms"), timedOut) << "before the last match";
    control.Send("await request=SetRegionVisibility regionId=4 within=30s\n");
    client.Ask(messages::setRegionVisibility, Bytes({3, 0}));
    client.Ask(messages::setRegionVisibility, Bytes({4, 0}));
    EXPECT_EQ(control.ReceiveLine(), done);
}

TEST_F(Control, DisconnectsAClient)
{
    service.Start();
    ControlClient control = Operate();
    WireClient client = Connect();
    client.Ask(messages::ping);
    EXPECT_EQ(control.Ask("disconnect 1"), done);
    client.ExpectClosed();
    EXPECT_EQ(control.Ask("disconnect 1"), Refused("there is no client '1'"));
    service.Process().WaitForErrors("SubtitleMgrSim: client 1: disconnected by control\n");
}

TEST_F(Control, EndsTheService)
{
    service.Start();
    ControlClient control = Operate();
    EXPECT_EQ(control.Ask("quit"), done);
    control.ExpectClosed();
    ExpectCleanEnd(service.Process());
}

}  // namespace
