#include "simulator/play/recording_source.h"

#include "simulator/play/player.h"
#include "tests/harness/build_kind.h"
#include "tests/unit/simulator/recording_audience.h"

#include "recording/writer.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using Published = std::vector<std::string>;

class Recording : public testing::Test {
protected:
    /// A file with \p text.
    static std::unique_ptr<Source> Open(const std::string& text)
    {
        Descriptor file(memfd_create("drive", MFD_CLOEXEC));
        EXPECT_EQ(pwrite(file.Get(), text.data(), text.size(), 0),
                  static_cast<ssize_t>(text.size()));
        return std::make_unique<RecordingSource>("drive", std::move(file));
    }

    /// Plays \p text until nothing is to be done at the moment.
    Published Play(const std::string& text)
    {
        audience.published.clear();
        player.Start(Open(text), options);
        Settle();
        return audience.published;
    }

    /// Plays until nothing is to be done at the moment.
    void Settle()
    {
        do {
            player.Advance();
        } while (player.WakeAt() == Player::atOnce);
    }

    RecordingAudience audience;
    SubtitleService service;
    RequestHistory history;
    PlayOptions options;
    Player player{service, audience, history, /*isQuiet*/ true};
};

TEST_F(Recording, PublishesItsNotifications)
{
    const std::string bytes = R"(,"size":5,"crc32":"7b35f858","data":"AAECA/8=")";
    const std::string pixels = Bytes({0, 1, 2, 3, 255});
    Published expected;
    std::string text =
        recordingHeader + RecordingLine(R"("request":"Ping","client":1,"result":"ok")");
    for (const auto& [format, subscription] :
         {std::pair(0u, 2u), std::pair(1u, 3u), std::pair(2u, 4u), std::pair(255u, 12u)}) {
        text += RecordingLine(R"("notification":"RegionData","regionId":3,"subscription":)" +
                              std::to_string(subscription) + R"(,"subtitleFormat":)" +
                              std::to_string(format) + bytes);
        expected.push_back(
            NotificationBytes(subscription, 15129, RegionDataRecord(3, format, pixels)));
    }
    text += VisibilityLine(4);
    expected.push_back(NotificationBytes(6, 15132, VisibilityRecord(4, true)));
    text += RecordingLine(R"("notification":"Palette","subscription":10,"regionId":2)" + bytes +
                          R"(,"fill":true,"backgroundCode":31)");
    expected.push_back(NotificationBytes(10, 15133, PaletteRecord(2, 31, true, pixels)));
    EXPECT_EQ(Play(text), expected);
    EXPECT_TRUE(player.HasEnded());
    EXPECT_EQ(player.Mistake(), "");
}

class RandomRecording : public Recording {
protected:
    unsigned int Number(unsigned int limit) { return static_cast<unsigned int>(random()) % limit; }

    /// Adds a notification to a recording, and the frame that a play of it publishes.
    void AddNotification(std::string& text, Published& frames)
    {
        constexpr unsigned int itemIds[] = {15129, 15132, 15133};
        std::string data(Number(300), '\0');
        for (char& byte : data) {
            byte = static_cast<char>(Number(256));
        }
        recording::Notification line;
        line.at = {monoUs += Number(1000000), 0};
        line.kind = static_cast<recording::NotificationKind>(Number(3));
        line.regionId = Number(256);
        line.subtitleFormat = Number(2) == 0 ? Number(4) : Number(256);
        line.backgroundCode = Number(256);
        line.visible = Number(2) == 0;
        line.fill = Number(2) == 0;
        line.data = {reinterpret_cast<const unsigned char*>(data.data()), data.size()};
        const std::string records[] = {
            RegionDataRecord(line.regionId, line.subtitleFormat, data),
            VisibilityRecord(line.regionId, line.visible),
            PaletteRecord(line.regionId, line.backgroundCode, line.fill, data)};
        const unsigned int subscriptions[] = {
            line.subtitleFormat <= 2 ? line.subtitleFormat + 2 : 12, 6, 10};
        const auto kind = static_cast<unsigned int>(line.kind);
        line.subscription = subscriptions[kind];
        recording::AppendLine(text, line);
        frames.push_back(NotificationBytes(line.subscription, itemIds[kind], records[kind]));
    }

private:
    std::mt19937 random{20261121};
    std::int64_t monoUs = 5000000;
};

TEST_F(RandomRecording, IsPlayedAsItWasWrittenOrNotAtAll)
{
    options.rate = 0;
    for (int round = 0; round < (isEmulated || isSanitized ? 500 : 10000); ++round) {
        std::string text = recordingHeader;
        Published frames;
        for (unsigned int left = Number(20); left > 0; --left) {
            AddNotification(text, frames);
        }
        ASSERT_EQ(Play(text), frames) << text;
        ASSERT_EQ(player.Mistake(), "");
        text.resize(1 + Number(static_cast<unsigned int>(text.size()) - 1));
        std::vector<std::string> mistakes;
        ASSERT_EQ(IsPlayable(*Open(text), mistakes), text.back() == '\n') << text;
    }
}

TEST_F(Recording, CountsMomentsFromItsFirstMessage)
{
    options.isPaused = true;
    Play(recordingHeader + VisibilityLine(1, 5000000) + VisibilityLine(2, 5700000));
    EXPECT_EQ(player.LengthUs(), 700000);
    for (const std::int64_t position : {0, 700000}) {
        player.Step(1);
        player.Advance();
        EXPECT_EQ(player.PositionUs(), position);
    }
    EXPECT_EQ(audience.published.size(), 2u);
}

TEST_F(Recording, AwaitsItsRequestsInOrder)
{
    options.awaitsRequests = true;
    const std::string level =
        RecordingLine(R"("request":"SetLogLevel","client":1,"level":7,"result":"ok")");
    EXPECT_EQ(Play(recordingHeader + level + VisibilityLine(1) + level + VisibilityLine(2)),
              Published{});
    EXPECT_STREQ(player.WaitsFor(), "a request");
    recording::Request request;
    request.kind = recording::RequestKind::SetLogLevel;
    for (request.level = 6; request.level <= 7; ++request.level) {
        history.Add(request);
        Settle();
        EXPECT_EQ(audience.published.size(), request.level - 6);
    }
    EXPECT_STREQ(player.WaitsFor(), "a request") << "the second one";
    player.Step(1);
    player.Advance();
    EXPECT_EQ(audience.published.size(), 2u) << "a step waits for nothing";
    player.Stop();
    EXPECT_FALSE(history.IsOn());
}

/// A line with a bitmap of the largest size.
std::string LargestBitmap()
{
    const std::vector<unsigned char> bytes(recording::largestData);
    recording::Notification line;
    line.subscription = 2;
    line.data = {bytes.data(), bytes.size(), {}};
    std::string text;
    recording::AppendLine(text, line);
    return text;
}

TEST_F(Recording, IsRefusedWithItsMistakeBeforeItPublishes)
{
    const std::string withoutBytes = RecordingLine(
        R"("notification":"RegionData","subscription":2,"regionId":3,"subtitleFormat":0,)"
        R"("size":5,"crc32":"7b35f858")");
    for (const auto& [line, mistake] :
         {std::pair(withoutBytes, "1: cannot be played: it has no bytes"),
          std::pair(LargestBitmap(), "1: cannot be played: a record of more than 16 MiB"),
          std::pair<std::string, const char*>(
              "{", "2: the line has no end; the recording is incomplete")}) {
        EXPECT_EQ(Play(recordingHeader + VisibilityLine(1) + line), Published{});
        EXPECT_EQ(player.Mistake(), std::string("drive:3:") + mistake);
        EXPECT_TRUE(player.HasEnded());
    }
}

}  // namespace
