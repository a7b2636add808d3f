// Control lines that name files: states and plays.

#include "tests/service/SimulatorSession.h"

namespace {

class ControlFiles : public SimulatorSession {
protected:
    std::string Write(const std::string& name, const std::string& text) const
    {
        WriteWholeFile(files / name, text);
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

    ControlClient control{service.Quiet().Start().SocketPath() + ".control"};
    const std::string saved = files / "saved";
    const std::string messages =
        R"({"subtitleRecording":1,"writer":"test","service":"S","wallUs":1,"monoUs":1000}
{"monoUs":1000,"wallUs":1,"notification":"RegionVisibility","subscription":6,"regionId":1,"visible":true}
{"monoUs":2001000,"wallUs":1,"notification":"RegionVisibility","subscription":6,"regionId":2,"visible":true}
{"monoUs":4001000,"wallUs":1,"notification":"RegionVisibility","subscription":6,"regionId":1,"visible":false}
)";
};

TEST_F(ControlFiles, BringAStateBackAndPublishIt)
{
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
    const std::string torn = Write("torn", messages.substr(0, messages.size() - 20));
    const std::string mistake = torn + ":4:91: the line has no end; the recording is incomplete";
    control.Ask("visibility 3 t");
    const std::string before = Kept(control);
    EXPECT_EQ(control.Ask("restore " + torn), Failed(mistake));
    EXPECT_EQ(control.Ask("play " + torn), Failed(mistake));
    EXPECT_EQ(control.Ask("restore /nowhere"),
              Failed("/nowhere: cannot be read: No such file or directory"));
    EXPECT_EQ(control.Ask("restore " + Write("empty", "")),
              Failed((files / "empty") + ": is not a recording"));
    EXPECT_EQ(control.Ask("save " + files.Path()), Failed(files.Path() + ": is not a file"));
    EXPECT_EQ(control.Ask("save /nowhere/file"),
              Failed("/nowhere/file: No such file or directory"));
    EXPECT_EQ(Kept(control), before);
    EXPECT_EQ(RunToEnd({"--name", "other", "--state", torn}).status, 2);
}

TEST_F(ControlFiles, ArePlayedByControl)
{
    const std::string path = Write("drive", messages);
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

}  // namespace
