// Control lines that name files: states and plays.

#include "tests/service/ControlClient.h"
#include "tests/service/SimulatorSession.h"

#include <filesystem>
#include <fstream>

namespace {

const std::string done = R"({"ok":true})";

class ControlFiles : public SimulatorSession {
protected:
    ControlFiles() { service.Quiet(); }

    ControlClient Operate() const { return ControlClient(service.SocketPath()); }

    std::string Write(const std::string& name, const std::string& text) const
    {
        std::ofstream(files / name) << text;
        return files / name;
    }

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

    const std::string saved = files / "saved";
    const std::string messages =
        R"({"subtitleRecording":1,"writer":"test","service":"S","wallUs":1,"monoUs":1000}
{"monoUs":1000,"wallUs":1,"notification":"RegionVisibility","subscription":6,"regionId":1,"visible":true}
{"monoUs":2001000,"wallUs":1,"notification":"RegionVisibility","subscription":6,"regionId":2,"visible":true}
{"monoUs":4001000,"wallUs":1,"notification":"RegionVisibility","subscription":6,"regionId":1,"visible":false}
)";
};

TEST_F(ControlFiles, BringEveryStateBack)
{
    service.Start();
    ControlClient control = Operate();
    WireClient client = Connect();
    client.Ask(messages::setRegionData, RegionDataRecord(1, 0, Bytes({0, 7, 255})));
    client.Ask(messages::setRegionVisibility, Bytes({1, 1}));
    client.Ask(messages::setPaletteData, PaletteRecord(1, 31, true, "pal"));
    client.Ask(messages::setRegionData, RegionDataRecord(2, 0, Bytes({9})));
    client.Ask(messages::invertRegionData, U32(2));
    client.Ask(messages::sendSensorUpdate, U32(5) + Bytes({1}));
    client.Ask(messages::setLogLevel, U32(9));
    control.Ask("region-data 2 sd 0102");
    control.Ask("region-data 14 200 -");
    const std::string before = Kept(control);
    EXPECT_EQ(control.Ask("save " + saved), R"({"ok":true,"records":9})");

    client.Ask(messages::setPaletteData, PaletteRecord(7, 1, false, "other"));
    client.Ask(messages::setLogLevel, U32(1));
    client.Ask(messages::sendSensorUpdate, U32(0) + Bytes({1}));
    EXPECT_NE(Kept(control), before);
    EXPECT_EQ(control.Ask("restore " + saved), done);
    EXPECT_EQ(Kept(control), before);

    service.Stop();
    service.Option("--state").Option(saved).Start();
    ControlClient next = Operate();
    EXPECT_EQ(Kept(next), before);
}

TEST_F(ControlFiles, BringAnEmptyStateBack)
{
    service.Start();
    ControlClient control = Operate();
    const std::string before = Kept(control);
    EXPECT_EQ(control.Ask("save " + saved), R"({"ok":true,"records":0})");
    control.Ask("visibility 3 t");
    EXPECT_EQ(control.Ask("restore " + saved), done);
    EXPECT_EQ(Kept(control), before);
}

TEST_F(ControlFiles, ArePublishedWhenTheyAreRestored)
{
    service.Start();
    ControlClient control = Operate();
    control.Ask("visibility 3 t");
    control.Ask("save " + saved);
    control.Ask("visibility 3 f");
    WireClient client = Connect();
    client.Subscribe(6);
    EXPECT_EQ(control.Ask("restore " + saved), done);
    EXPECT_EQ(client.ReceiveBytes(), NotificationBytes(6, messages::regionVisItem, Bytes({3, 1})));
}

TEST_F(ControlFiles, ThatCannotBeUsedChangeNothing)
{
    const std::string torn = Write("torn", messages.substr(0, messages.size() - 20));
    const std::string mistake = torn + ":4:91: the line has no end; the recording is incomplete";
    service.Start();
    ControlClient control = Operate();
    control.Ask("visibility 3 t");
    const std::string before = Kept(control);
    EXPECT_EQ(control.Ask("restore " + torn), R"({"ok":false,"error":")" + mistake + R"("})");
    EXPECT_EQ(control.Ask("play " + torn), R"({"ok":false,"error":")" + mistake + R"("})");
    EXPECT_EQ(control.Ask("restore /nowhere"),
              R"({"ok":false,"error":"/nowhere: cannot be read: No such file or directory"})");
    EXPECT_EQ(control.Ask("restore " + Write("empty", "")),
              R"({"ok":false,"error":")" + files.Path() + R"(/empty: is not a recording"})");
    EXPECT_EQ(control.Ask("save " + files.Path()),
              R"({"ok":false,"error":")" + files.Path() + R"(: is not a file"})");
    EXPECT_EQ(control.Ask("save /nowhere/file"),
              R"({"ok":false,"error":"/nowhere/file: No such file or directory"})");
    EXPECT_EQ(Kept(control), before);
    EXPECT_EQ(RunToEnd({"--name", "other", "--state", torn}).status, 2);
}

TEST_F(ControlFiles, ArePlayedStepByStep)
{
    struct {
        const char* line;
        const char* answer;
    } const cases[] = {
        {"step", R"({"ok":true,"positionUs":0})"},
        {"step", R"({"ok":true,"positionUs":2000000})"},
        {"seek 0", R"({"ok":true,"positionUs":0})"},
        {"step 2", R"({"ok":true,"positionUs":2000000})"},
        {"seek 4s", R"({"ok":true,"positionUs":4000000})"},
        {"pause", R"({"ok":true,"positionUs":4000000})"},
        {"step 7", R"({"ok":true,"positionUs":4000000})"},
        {"pause", R"({"ok":false,"error":"the play has ended"})"},
        {"resume", R"({"ok":false,"error":"the play has ended"})"},
        {"step 0", R"({"ok":false,"error":"the play has ended"})"},
        {"seek 2s", R"({"ok":true,"positionUs":2000000})"},
        {"step 0", R"({"ok":true,"positionUs":2000000})"},
        {"stop", R"({"ok":true})"},
        {"stop", R"({"ok":false,"error":"nothing is played"})"},
        {"resume", R"({"ok":false,"error":"nothing is played"})"},
        {"seek 1", R"({"ok":false,"error":"nothing is played"})"},
        {"seek soon", R"({"ok":false,"error":"'soon' is not a time, like 500ms or 2s"})"},
        {"step -1", R"({"ok":false,"error":"'-1' is not a number from 0 to 4294967295"})"},
    };
    const std::string path = Write("drive", messages);
    service.Start();
    ControlClient control = Operate();
    EXPECT_EQ(control.Ask("play " + path + " paused"), R"({"ok":true,"positionUs":0})");
    for (const auto& one : cases) {
        EXPECT_EQ(control.Ask(one.line), one.answer) << one.line;
    }
}

TEST_F(ControlFiles, ArePlayedAsTheirOptionsSay)
{
    struct {
        const char* options;
        const char* answer;
    } const cases[] = {
        {"rate=fast", R"({"ok":false,"error":"'fast' is not a rate"})"},
        {"from=soon", R"({"ok":false,"error":"'soon' is not a time, like 500ms or 2s"})"},
        {"lop", R"({"ok":false,"error":"unknown option 'lop'; did you mean loop?"})"},
        {"from=2s until=2s", R"({"ok":false,"error":"until is not after from"})"},
        {"paused from=2s", R"({"ok":true,"positionUs":2000000})"},
    };
    const std::string path = Write("drive", messages);
    service.Start();
    ControlClient control = Operate();
    for (const auto& one : cases) {
        EXPECT_EQ(control.Ask("play " + path + " " + one.options), one.answer) << one.options;
    }
    WireClient client = Connect();
    client.Subscribe(6);
    control.Ask("play " + path + " rate=0 until=3s");
    EXPECT_EQ(client.ReceiveBytes(), NotificationBytes(6, messages::regionVisItem, Bytes({1, 1})));
    EXPECT_EQ(client.ReceiveBytes(), NotificationBytes(6, messages::regionVisItem, Bytes({2, 1})));
    EXPECT_EQ(client.Ask(messages::ping), "");
}

}  // namespace
