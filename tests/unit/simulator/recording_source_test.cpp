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

constexpr unsigned int rounds = isEmulated || isSanitized ? 500 : 10000;

/// A recording, and the frames that a play of it publishes.
struct Drive {
    std::string text;
    Published frames;
};

class DriveMaker {
public:
    Drive Make()
    {
        Drive drive;
        recording::AppendLine(drive.text,
                              recording::Header{{monoUs, 0}, "a \"writer\"", "node1/S"});
        for (unsigned int left = Number(20); left > 0; --left) {
            monoUs += Number(1000000);
            if (Number(5) == 0) {
                AddRequest(drive);
            } else {
                AddNotification(drive);
            }
        }
        return drive;
    }

    unsigned int Number(unsigned int limit) { return static_cast<unsigned int>(random()) % limit; }

private:
    std::string Data()
    {
        std::string data(Number(3) == 0 ? 0 : Number(300), '\0');
        for (char& byte : data) {
            byte = static_cast<char>(Number(256));
        }
        return data;
    }

    void AddNotification(Drive& drive)
    {
        recording::Notification line;
        const std::string data = Data();
        line.at = {monoUs, Number(2) == 0 ? 0 : 1763730000123456};
        line.kind = static_cast<recording::NotificationKind>(Number(3));
        line.regionId = Number(256);
        line.subtitleFormat = Number(2) == 0 ? Number(4) : Number(256);
        line.backgroundCode = Number(256);
        line.visible = Number(2) == 0;
        line.fill = Number(2) == 0;
        line.data = {reinterpret_cast<const unsigned char*>(data.data()), data.size(), {}};
        std::string record;
        switch (line.kind) {
        case recording::NotificationKind::RegionData:
            line.subscription = line.subtitleFormat <= 2 ? line.subtitleFormat + 2 : 12;
            record = RegionDataRecord(line.regionId, line.subtitleFormat, data);
            break;
        case recording::NotificationKind::RegionVisibility:
            line.subscription = 6;
            record = VisibilityRecord(line.regionId, line.visible);
            break;
        case recording::NotificationKind::Palette:
            line.subscription = 10;
            record = PaletteRecord(line.regionId, line.backgroundCode, line.fill, data);
            break;
        }
        constexpr unsigned int itemIds[] = {15129, 15132, 15133};
        const unsigned int itemId = itemIds[static_cast<unsigned int>(line.kind)];
        drive.frames.push_back(NotificationBytes(line.subscription, itemId, record));
        recording::AppendLine(drive.text, line);
    }

    void AddRequest(Drive& drive)
    {
        recording::Request line;
        line.at = {monoUs, 0};
        line.kind = static_cast<recording::RequestKind>(Number(12));
        const std::string data = Data();
        line.data = {reinterpret_cast<const unsigned char*>(data.data()), data.size(), {}};
        recording::AppendLine(drive.text, line, recording::Bytes::LeftOut);
    }

    std::mt19937 random{20261121};
    std::int64_t monoUs = 5000000;
};

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

TEST_F(Recording, IsPlayedAsItWasWritten)
{
    options.rate = 0;
    DriveMaker maker;
    for (unsigned int round = 0; round < rounds; ++round) {
        const Drive drive = maker.Make();
        ASSERT_EQ(Play(drive.text), drive.frames) << drive.text;
        ASSERT_TRUE(player.HasEnded());
        ASSERT_EQ(player.Mistake(), "");
    }
}

TEST_F(Recording, IsPlayableOnlyAsAWhole)
{
    DriveMaker maker;
    unsigned int refused = 0;
    for (unsigned int round = 0; round < rounds; ++round) {
        std::string text = maker.Make().text;
        const std::size_t at = 1 + maker.Number(static_cast<unsigned int>(text.size()) - 1);
        const bool isTorn = text[at - 1] != '\n';
        if (round % 2 == 0) {
            text.resize(at);
        } else {
            text[at] ^= 1;
        }
        std::vector<std::string> mistakes;
        const bool isPlayable = IsPlayable(*Open(text), mistakes);
        refused += isPlayable ? 0 : 1;
        ASSERT_EQ(mistakes.size(), isPlayable ? 0u : 1u) << text;
        ASSERT_FALSE(round % 2 == 0 && isTorn && isPlayable) << text;
    }
    EXPECT_GT(refused, rounds / 2);  // a changed letter in a name, for example, is no mistake
}

TEST_F(Recording, CountsMomentsFromItsFirstMessage)
{
    options.isPaused = true;
    Play(R"({"subtitleRecording":1,"writer":"w","service":"s","wallUs":0,"monoUs":1000000}
{"monoUs":5000000,"wallUs":0,"notification":"RegionVisibility","subscription":6,"regionId":3,"visible":true}
{"monoUs":5700000,"wallUs":0,"notification":"RegionVisibility","subscription":6,"regionId":3,"visible":false}
)");
    EXPECT_EQ(player.LengthUs(), 700000);
    player.Step(1);
    player.Advance();
    EXPECT_EQ(audience.published.size(), 1u);
    EXPECT_EQ(player.PositionUs(), 0);
    player.Step(1);
    player.Advance();
    EXPECT_EQ(audience.published.size(), 2u);
    EXPECT_EQ(player.PositionUs(), 700000);
}

TEST_F(Recording, AwaitsItsRequestsInOrder)
{
    options.awaitsRequests = true;
    const std::string text =
        R"({"subtitleRecording":1,"writer":"w","service":"s","wallUs":0,"monoUs":0}
{"monoUs":0,"wallUs":0,"request":"SetLogLevel","client":1,"level":7,"result":"ok"}
{"monoUs":0,"wallUs":0,"notification":"RegionVisibility","subscription":6,"regionId":1,"visible":true}
{"monoUs":0,"wallUs":0,"request":"SetLogLevel","client":1,"level":7,"result":"ok"}
{"monoUs":0,"wallUs":0,"notification":"RegionVisibility","subscription":6,"regionId":2,"visible":true}
)";
    EXPECT_EQ(Play(text), Published{});
    EXPECT_STREQ(player.WaitsFor(), "a request");
    recording::Request request;
    for (const unsigned int level : {6u, 7u}) {
        request.kind = recording::RequestKind::SetLogLevel;
        request.level = level;
        history.Add(request);
        Settle();
        EXPECT_EQ(audience.published.size(), level - 6);
    }
    EXPECT_STREQ(player.WaitsFor(), "a request") << "the second one";
    player.Step(1);
    player.Advance();
    EXPECT_EQ(audience.published.size(), 2u) << "a step waits for nothing";
    player.Stop();
    EXPECT_FALSE(history.IsOn());
}

struct Unplayable {
    const char* name;
    const char* line;  ///< null for a bitmap of the largest size
    const char* mistake;
};

/// Made by the one test that needs it: otherwise every test of the program would wait for it.
std::string LargestBitmap()
{
    const std::vector<unsigned char> bytes(recording::largestData);
    recording::Notification line;
    line.at.monoUs = 2;
    line.subscription = 2;
    line.data = {bytes.data(), bytes.size(), {}};
    std::string text;
    recording::AppendLine(text, line);
    return text;
}

class BadRecording : public Recording, public testing::WithParamInterface<Unplayable> {};

TEST_P(BadRecording, HasOneMistake)
{
    const std::string good =
        R"({"monoUs":1,"wallUs":0,"notification":"RegionVisibility","subscription":6,"regionId":3,"visible":true})"
        "\n";
    EXPECT_EQ(Play(R"({"subtitleRecording":1,"writer":"w","service":"s","wallUs":0,"monoUs":0})"
                   "\n" +
                   good + (GetParam().line ? GetParam().line : LargestBitmap())),
              Published{});
    EXPECT_EQ(player.Mistake(), std::string("drive:3:") + GetParam().mistake);
    EXPECT_EQ(player.GetState(), Player::State::Ended);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, BadRecording,
    testing::Values(
        Unplayable{
            "WithoutBytes",
            R"({"monoUs":2,"wallUs":0,"notification":"RegionData","subscription":2,"regionId":3,"subtitleFormat":0,"size":5,"crc32":"7b35f858"})"
            "\n",
            "1: cannot be played: it has no bytes"},
        Unplayable{"Torn", R"({"monoUs":2,)",
                   "13: the line has no end; the recording is incomplete"},
        Unplayable{"OfAnotherFormat", "visibility 3 t\n", "1: Invalid value."},
        Unplayable{"SecondHeader",
                   R"({"subtitleRecording":1,"writer":"w","service":"s","wallUs":0,"monoUs":2})"
                   "\n",
                   "1: a second header"},
        Unplayable{"TooLarge", nullptr, "1: cannot be played: a record of more than 16 MiB"}),
    [](const auto& testInfo) { return std::string(testInfo.param.name); });

}  // namespace
