// What the tap records of a play is the recording that is played, but for its times.

#include "recording/writer.h"
#include "tests/harness/build_kind.h"
#include "tests/tools/tap/TapSession.h"

namespace {

constexpr unsigned int messageCount = isEmulated || isSanitized ? 60 : 300;

/// Messages of every kind, a millisecond apart; together more than a subscriber's backlog holds.
std::string Drive()
{
    std::string text;
    recording::AppendLine(text,
                          recording::Header{{}, "SubtitleMgrTap " SUBTITLE_VERSION, "SubtitleMgr"});
    for (unsigned int i = 0; i < messageCount; ++i) {
        const std::vector<unsigned char> bytes(i * 71 % 20000, static_cast<unsigned char>(i));
        recording::Notification line;
        line.at = {1000 * i, 1763730000123456};
        line.kind = static_cast<recording::NotificationKind>(i % 3);
        line.regionId = i % 256;
        line.subtitleFormat = i % 5;
        line.subscription = i % 3 == 0   ? recording::SubscriptionOfFormat(line.subtitleFormat)
                            : i % 3 == 1 ? 6
                                         : 10;
        line.visible = i % 2 == 0;
        line.fill = i % 4 == 0;
        line.backgroundCode = 255 - i % 256;
        line.data = {bytes.data(), bytes.size(), {}};
        recording::AppendLine(text, line);
    }
    return text;
}

class Replay : public TapSession {
protected:
    void ExpectTheSameAtRate(const std::string& rate)
    {
        service.Journal().Option("--play").Option("-").Option("--rate").Option(rate).Start();
        const auto tap = Launch({"--json", "--count", std::to_string(messageCount)});
        service.WaitForJournalLines(6);
        service.Process().Write(Drive());
        ExpectEnd(*tap, 0);
        EXPECT_TEXT(Recorded(tap->Output()), Recorded(Drive()));
    }
};

TEST_F(Replay, IsTheSameAtItsOwnRate) { ExpectTheSameAtRate("1"); }

TEST_F(Replay, IsTheSameAtATenfoldRate) { ExpectTheSameAtRate("10"); }

TEST_F(Replay, IsTheSameAsFastAsPossible) { ExpectTheSameAtRate("0"); }

}  // namespace
