// Recordings and journals of the running service.

#include "tests/harness/recording_text.h"
#include "tests/service/SimulatorSession.h"

#include <regex>

namespace {

class Recording : public SimulatorSession {
protected:
    /// The lines without their times; each must be one that a reader accepts.
    static std::string PlainLines(const std::string& text)
    {
        EXPECT_EQ(MistakeOfRecording(text), "");
        return std::regex_replace(text, std::regex(R"(,?"(mono|wall)Us":\d+,?)"), "");
    }

    const std::string path = files / "recording";
};

TEST_F(Recording, HoldsRequestsAndPublicationsInTheirOrder)
{
    service.Play("visibility 3 t\nwait-subscribers 10\npalette 2 31 t 10ff\n");
    service.Option("--record").Option(path).Start();
    WireClient client = Connect({4});
    EXPECT_EQ(client.Ask(messages::setRegionData, RegionDataRecord(3, 0, "\x05")), accepted);
    EXPECT_EQ(client.ReceiveFrame().header.messageId, messages::regionDataItem);
    EXPECT_EQ(client.Ask(messages::invertRegionData, U32(99)), U32(1));
    client.Subscribe(10);
    EXPECT_EQ(client.ReceiveFrame().header.messageId, messages::paletteItem);
    Operate().Ask("region-data 4 77 -");
    service.Stop();
    EXPECT_EQ(PlainLines(ReadWholeFile(path)),
              R"({"subtitleRecording":1,"writer":"SubtitleMgrSim )" SUBTITLE_VERSION
              R"(","service":"SubtitleMgr"}
{"notification":"RegionVisibility","subscription":6,"regionId":3,"visible":true,"receivers":0}
{"request":"Subscribe","client":1,"subscription":4,"itemId":15129,"result":"ok"}
{"request":"SetRegionData","client":1,"regionId":3,"subtitleFormat":0,"size":1,"crc32":"a2681b02","data":"BQ==","result":"ok"}
{"notification":"RegionData","subscription":2,"regionId":3,"subtitleFormat":0,"size":1,"crc32":"a2681b02","data":"BQ==","receivers":0}
{"notification":"RegionData","subscription":3,"regionId":3,"subtitleFormat":1,"size":1,"crc32":"a2681b02","data":"BQ==","receivers":0}
{"notification":"RegionData","subscription":4,"regionId":3,"subtitleFormat":2,"size":1,"crc32":"a505df1b","data":"AQ==","receivers":1}
{"request":"InvertRegionData","client":1,"regionId":99,"result":"refused"}
{"request":"Subscribe","client":1,"subscription":10,"itemId":15133,"result":"ok"}
{"notification":"Palette","subscription":10,"regionId":2,"size":2,"crc32":"2619ef23","data":"EP8=","fill":true,"backgroundCode":31,"receivers":1}
{"notification":"RegionData","subscription":12,"regionId":4,"subtitleFormat":77,"size":0,"crc32":"00000000","data":"","receivers":0}
)");
}

TEST_F(Recording, BeginsAndEndsByControl)
{
    service.Start();
    WireClient client = Connect();
    ControlClient control = Operate();
    EXPECT_EQ(control.Ask("record /nowhere/file"),
              Failed("recording /nowhere/file: No such file or directory"));
    client.Ask(messages::ping);
    EXPECT_EQ(control.Ask("record " + path), done);
    client.Ask(messages::getLogLevel);
    EXPECT_EQ(control.Ask("record off"), done);
    client.Ask(messages::ping);
    const std::string lines = PlainLines(ReadWholeFile(path));
    EXPECT_EQ(lines.substr(lines.find('\n') + 1),
              R"({"request":"GetLogLevel","client":1,"result":"ok"})"
              "\n");
}

TEST_F(Recording, BeginsWithTheRestoredState)
{
    WriteWholeFile(files / "state", recordingHeader + VisibilityLine(3));
    EXPECT_EQ(RunToEnd({"--state", files / "state", "--record", path, "--for", "0"}).status, 0);
    EXPECT_NE(PlainLines(ReadWholeFile(path)).find(R"("regionId":3,"visible":true,"receivers":0)"),
              std::string::npos);
}

TEST_F(Recording, NeverEmptiesAFileInUse)
{
    service.Option("--record").Option(path).Start();
    const std::string lines = ReadWholeFile(path);
    EXPECT_EQ(RunToEnd({"--record", path}).status, 1) << "the name is taken";
    EXPECT_EQ(ReadWholeFile(path), lines);
    const std::string drive = files / "drive";
    const std::string inUse = "SubtitleMgrSim: recording " + drive + ": it is in use\n";
    const struct {
        std::vector<std::string> options;
        std::string text;
        int status;
        std::string problem;
    } rows[] = {
        {{"--play", drive}, recordingHeader, 1, inUse},
        {{"--play", drive}, "log x\n", 1, inUse},
        {{"--state", drive}, recordingHeader, 1, inUse},
        {{"--journal", drive}, recordingHeader, 1, inUse},
        {{"--state", files / "none"},
         recordingHeader,
         2,
         files / "none: cannot be read: No such file or directory\n"},
    };
    for (const auto& row : rows) {
        WriteWholeFile(drive, row.text);
        std::vector<std::string> options = row.options;
        options.insert(options.end(), {"--name", "other", "--record", drive, "--for", "0"});
        const Ended ended = RunToEnd(options);
        EXPECT_EQ(ended.status, row.status);
        EXPECT_EQ(ended.errors, row.problem);
        EXPECT_EQ(ReadWholeFile(drive), row.text);
    }
}

TEST_F(Recording, IsInUseUntilItEnds)
{
    service.Quiet().Option("--record").Option(path).Start();
    ControlClient control = Operate();
    const std::string lines = ReadWholeFile(path);
    const std::string inUse = Failed("recording " + path + ": it is in use");
    for (const char* const word : {"play ", "restore ", "save "}) {
        EXPECT_EQ(control.Ask(word + path), Failed(path + ": is being recorded"));
    }
    EXPECT_EQ(control.Ask("record " + path), inUse);
    EXPECT_EQ(control.Ask("record off"), done);
    EXPECT_EQ(control.Ask("play " + path + " paused"), R"({"ok":true,"positionUs":0})");
    EXPECT_EQ(control.Ask("record " + path), inUse);
    EXPECT_EQ(ReadWholeFile(path), lines);
}

using Journal = SimulatorSession;

TEST_F(Journal, OnStandardOutputHasNoReadyInIt)
{
    const auto program = Launch({"--quiet", "--journal", "-"});
    program->WaitForErrors("ready\n");
    EXPECT_EQ(Connect().Ask(messages::ping), "");
    Terminate(*program);
    EXPECT_EQ(PlainJournal(program->Output()), "{\"request\":\"Ping\"}\n");
    EXPECT_EQ(program->Errors(), "ready\n");
}

TEST_F(Journal, HasALineBeforeItsReply)
{
    service.Journal().Quiet().Start();
    WireClient client = Connect();
    for (std::size_t count = 1; count <= 200; ++count) {
        client.Ask(messages::ping);
        ASSERT_EQ(service.JournalLines().size(), count);
    }
}

}  // namespace
