#include "platform/src/line_limit.h"

#include "platform/src/log_sink.h"
#include "tests/unit/platform/ServedEndpoint.h"

#include <poll.h>
#include <string>
#include <vector>

namespace {

using Reports = std::vector<std::pair<std::string, unsigned int>>;

class LineLimit : public testing::Test {
protected:
    Reports ReportsOf(bool all)
    {
        Reports reports;
        limit.Report(
            all, [&](const char* kind, unsigned int count) { reports.emplace_back(kind, count); });
        return reports;
    }

    int Admitted(const char* kind, int lines)
    {
        int admitted = 0;
        for (int i = 0; i < lines; ++i) {
            admitted += limit.Admits(kind) ? 1 : 0;
        }
        return admitted;
    }

    platform::LineLimit limit;
};

TEST_F(LineLimit, AdmitsTwentyOfEachKind)
{
    EXPECT_EQ(Admitted("one", 50), 20);
    EXPECT_EQ(Admitted(std::string("one").c_str(), 50), 0) << "it compares addresses, not texts";
    EXPECT_EQ(Admitted("other", 20), 20);
    EXPECT_EQ(ReportsOf(true), (Reports{{"one", 80}}));
    EXPECT_EQ(Admitted("one", 50), 20) << "the limit starts again after the report";
}

TEST_F(LineLimit, ReportsWhenItsSecondIsOverAndNotBefore)
{
    EXPECT_EQ(limit.NextReportMs(), -1);
    const auto start = platform::Deadline::Clock::now();
    Admitted("one", 20);
    EXPECT_EQ(limit.NextReportMs(), -1) << "no line is held back";
    Admitted("one", 5);
    EXPECT_GT(limit.NextReportMs(), 0);
    EXPECT_LE(limit.NextReportMs(), 1000);
    EXPECT_EQ(ReportsOf(false), Reports());
    while (limit.NextReportMs() > 0) {
        poll(nullptr, 0, limit.NextReportMs());
    }
    EXPECT_EQ(ReportsOf(false), (Reports{{"one", 5}}));
    EXPECT_GE(platform::Deadline::Clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(limit.NextReportMs(), -1);
    EXPECT_EQ(Admitted("one", 50), 20);
}

TEST_F(LineLimit, AdmitsTwentyOfAllKindsThatHaveNoPlace)
{
    std::vector<std::string> kinds;
    for (int i = 0; i < 100; ++i) {
        kinds.push_back("kind " + std::to_string(i));
    }
    int admitted = 0;
    for (const std::string& kind : kinds) {
        admitted += Admitted(kind.c_str(), 100);
    }
    EXPECT_LE(admitted, 24 * 20);
    EXPECT_GE(admitted, 23 * 20);
}

TEST_F(LineLimit, ReportsWithoutTheEndOfTheKind)
{
    EXPECT_EQ(platform::LineLimit::MoreLikeThese("refused: ", 7),
              "7 more like these within a second: refused");
    EXPECT_EQ(platform::LineLimit::MoreLikeThese("dropped: it sent ", 1),
              "1 more like these within a second: dropped: it sent");
}

/// Log entries about a service that causes as many entries as it can.
class EntriesAboutPeers : public ServedEndpoint {
protected:
    EntriesAboutPeers()
    {
        // Reports of entries that other tests lost or held back go to another file.
        setenv("SUBTITLE_LOG", (folder / "earlier").c_str(), 1);
        LogHeldBack(true);
        WriteLogEntry(logErrors, "", "");
        setenv("SUBTITLE_LOG", (folder / "log").c_str(), 1);
    }

    int CountOf(const std::string& text) const
    {
        const std::string log = ReadWholeFile(folder / "log");
        int found = 0;
        for (std::size_t at = 0; (at = log.find(text, at)) != std::string::npos; ++at) {
            ++found;
        }
        return found;
    }
};

TEST_F(EntriesAboutPeers, AreLimitedForEachKind)
{
    ConnectAndSubscribe();
    for (int i = 0; i < 30; ++i) {
        LogFromLibrary("of a peer", "one kind");
        LogFromLibrary("closed", "connection closed");
        LogFromLibrary("of a command");
        peer->SendFrame(FrameKind::Notification, bitmap, hd, "x");
    }
    peer->Send(Bitmap(1));
    EXPECT_EQ(Receive(), 0);
    peer->Send("HTTP/1.1 200 OK\r\n");
    EXPECT_EQ(Ping(), ECONNRESET);
    LogHeldBack(true);
    EXPECT_EQ(CountOf("connection to SubtitleMgr closed: "), 0);
    EXPECT_EQ(CountOf("level=2 of a peer\n"), 20);
    EXPECT_EQ(CountOf("level=2 of a command\n"), 30);
    EXPECT_EQ(CountOf("level=2 dropped a malformed record from SubtitleMgr: "), 20);
    EXPECT_EQ(CountOf("level=2 10 more like these within a second: one kind\n"), 1);
    EXPECT_EQ(CountOf("10 more like these within a second: malformed record dropped\n"), 1);
}

TEST_F(EntriesAboutPeers, AreNotMadeWhenTheirLevelIsOff)
{
    LogClient::Instance().Level(8);
    for (int i = 0; i < 30; ++i) {
        LogFromLibrary("text", "kind");
    }
    LogHeldBack(true);
    EXPECT_EQ(CountOf("\n"), 0);
}

}  // namespace
