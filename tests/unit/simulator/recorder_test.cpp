#include "simulator/journal/recorder.h"

#include "simulator/journal/journal.h"
#include "tests/harness/SmallDisk.h"
#include "tests/unit/captured_console.h"
#include "tests/unit/simulator/recording_audience.h"

#include <RegionVisItem.h>

#include <algorithm>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

class Recorder : public testing::Test {
protected:
    /// Adds lines that have no room in a pipe, in the buffer of a recorder or on a small disk.
    void AddBitmaps(int count)
    {
        RegionDataItem bitmap;
        bitmap.data.resize(100000);
        const SharedFrame frame = EncodeNotification(2, bitmap);
        for (int i = 0; i < count; ++i) {
            recorder.Add(frame, 0);
        }
    }

    void AddPing() { recorder.Add(recording::Request()); }

    std::string StartProblem(const std::string& where)
    {
        std::string problem;
        const bool isStarted = recorder.Start(where, problem);
        EXPECT_EQ(isStarted, problem.empty());
        return problem;
    }

    static std::size_t LinesOf(const std::string& text)
    {
        EXPECT_TRUE(text.empty() || text.back() == '\n') << "the last line is not whole";
        return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    }

    const TempDir folder;
    const std::string path = folder / "recording";
    sim::Recorder recorder{"SubtitleMgr"};
};

TEST_F(Recorder, ReplacesAFileAndAddsOnlyWhileItIsOn)
{
    WriteWholeFile(path, "earlier\n");
    AddPing();
    EXPECT_EQ(StartProblem(path), "");
    AddPing();
    recorder.Stop();
    AddPing();
    EXPECT_EQ(LinesOf(ReadWholeFile(path)), 2u);
    EXPECT_EQ(ReadWholeFile(path).find("earlier"), std::string::npos);
}

TEST_F(Recorder, GoesOnWhenAnotherFileCannotBeOpened)
{
    EXPECT_EQ(StartProblem(path), "");
    EXPECT_EQ(StartProblem("/nowhere/recording"),
              "recording /nowhere/recording: No such file or directory");
    AddPing();
    EXPECT_EQ(LinesOf(ReadWholeFile(path)), 2u);
}

TEST_F(Recorder, DoesNotBeginOnAFullDisk)
{
    EXPECT_EQ(ErrorsOf([&] {
                  EXPECT_EQ(StartProblem("/dev/full"), "recording /dev/full: it takes no line");
              }),
              "SubtitleMgrSim: the recording is not complete: No space left on device\n");
    EXPECT_FALSE(recorder.IsOn());
}

TEST_F(Recorder, EndsWithAWholeLineOnAFullDisk)
{
    const SmallDisk disk("512k");
    if (!disk.IsMounted()) {
        GTEST_SKIP() << "needs the right to mount";
    }
    EXPECT_EQ(StartProblem(disk / "recording"), "");
    EXPECT_EQ(ErrorsOf([&] { AddBitmaps(10); }),
              "SubtitleMgrSim: the recording is not complete: No space left on device\n");
    EXPECT_FALSE(recorder.IsOn());
    EXPECT_EQ(LinesOf(ReadWholeFile(disk / "recording")), 4u);  // with the header
}

TEST_F(Recorder, EndsWithAWholeLineInAPipeThatIsNotRead)
{
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(StartProblem(path), "recording " + path + ": it is not read");
    const Descriptor reader(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    EXPECT_EQ(StartProblem(path), "");
    EXPECT_EQ(ErrorsOf([&] { AddBitmaps(100); }),
              "SubtitleMgrSim: the recording is not complete: it is not read\n");
    EXPECT_FALSE(recorder.IsOn());
    std::string text;
    std::string bytes(65536, '\0');
    while (recorder.Settle() >= 0) {
        const ssize_t count = read(reader.Get(), &bytes[0], bytes.size());
        ASSERT_GT(count, 0);
        text.append(bytes, 0, static_cast<std::size_t>(count));
    }
    for (ssize_t count; (count = read(reader.Get(), &bytes[0], bytes.size())) > 0;) {
        text.append(bytes, 0, static_cast<std::size_t>(count));
    }
    // A line has 133,336 bytes of base64; the pipe takes 65,536 bytes.
    EXPECT_EQ(LinesOf(text), 65u);
}

TEST_F(Recorder, ReportsLinesThatHaveNoRoomAtTheEnd)
{
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const Descriptor reader(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    EXPECT_EQ(StartProblem(path), "");
    AddBitmaps(1);
    EXPECT_EQ(ErrorsOf([&] { recorder.Close(); }),
              "SubtitleMgrSim: the recording is not complete: it is not read\n");
}

TEST_F(Recorder, WantsPublicationsThatHaveNoSubscriber)
{
    RecordingAudience subscribers;
    subscribers.subscribed.clear();
    RecordedAudience audience(subscribers, recorder);
    EXPECT_FALSE(audience.Wants(6));
    EXPECT_EQ(StartProblem(path), "");
    EXPECT_TRUE(audience.Wants(6));
    EXPECT_FALSE(audience.HasSubscriber(6));
    EXPECT_EQ(audience.Publish(6, EncodeNotification(6, RegionVisItem())), 0u);
    EXPECT_EQ(LinesOf(ReadWholeFile(path)), 2u);
}

using Journal = Recorder;

TEST_F(Journal, AppendsToAnExistingFile)
{
    WriteWholeFile(path, "earlier\n");
    sim::Journal journal;
    std::string problem;
    ASSERT_TRUE(journal.Open(path, problem)) << problem;
    journal.Add(recording::Request());
    EXPECT_EQ(ReadWholeFile(path),
              "earlier\n"
              R"({"monoUs":0,"wallUs":0,"request":"Ping","client":0,"result":"ok"})"
              "\n");
}

TEST_F(Journal, ReportsItsFirstLossOnly)
{
    sim::Journal journal;
    std::string problem;
    ASSERT_TRUE(journal.Open("/dev/full", problem)) << problem;
    EXPECT_EQ(ErrorsOf([&] {
                  journal.Add(recording::Request());
                  journal.Add(recording::Request());
              }),
              "SubtitleMgrSim: the journal is not complete: No space left on device\n");
}

}  // namespace
