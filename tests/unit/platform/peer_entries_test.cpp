// Log entries about a service that causes as many entries as it can.

#include "platform/src/deadline.h"
#include "platform/src/log_sink.h"
#include "tests/unit/platform/ServedEndpoint.h"

#include <atomic>
#include <regex>
#include <sstream>

using namespace platform;

namespace {

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

    std::string Log() const { return ReadWholeFile(folder / "log"); }

    int CountOf(const std::string& line) const
    {
        const std::string log = Log();
        int found = 0;
        for (std::size_t at = 0; (at = log.find(line, at)) != std::string::npos; ++at) {
            ++found;
        }
        return found;
    }
};

TEST_F(EntriesAboutPeers, AreLimitedPerMinuteAndCounted)
{
    bool isOver = false;
    ConnectAndSubscribe([](LinxIpc*, void* over) { *static_cast<bool*>(over) = true; }, &isOver);
    std::string records;
    for (int i = 0; i < 500; ++i) {
        records += FrameBytes(FrameKind::Notification, bitmap, hd, "x");
    }
    std::atomic<bool> isReported{false};
    auto flood = Beside([&] {
        int sent = 0;
        for (; !isReported; sent += 500) {
            peer->Send(records);
        }
        peer->Send(Bitmap(1));  // a well-formed one
        peer->ExpectClosed();
        return sent;
    });
    for (const Deadline deadline(eventDeadlineMs); !isOver && !deadline.HasPassed();) {
        Receive(/*waitMs*/ 100);
        isReported = isReported || CountOf("more like these") > 0;
    }
    isReported = true;
    EXPECT_TRUE(isOver);
    ipc.reset();
    const int sent = flood.get();

    int reported = 0;
    const std::regex one(".*level=2 dropped a malformed record from SubtitleMgr: .*");
    const std::regex more(
        ".*level=2 (\\d+) more like these within a second: malformed record dropped");
    std::istringstream lines(Log());
    for (std::string line; std::getline(lines, line);) {
        std::smatch count;
        if (std::regex_match(line, count, more)) {
            reported += std::stoi(count[1]);
        } else {
            EXPECT_TRUE(std::regex_match(line, one)) << line;
            ++reported;
        }
    }
    EXPECT_EQ(reported, sent);
    EXPECT_GT(sent, 1000);
    EXPECT_LT(Log().size(), 1000000u * 3 / 60);  // a megabyte a minute
}

TEST_F(EntriesAboutPeers, AreNotMadeWhenTheirLevelIsOff)
{
    LogClient::Instance().Level(8);
    for (int i = 0; i < 100; ++i) {
        LogFromLibrary("text", "kind");
    }
    LogHeldBack(true);
    EXPECT_EQ(Log(), "");
}

TEST_F(EntriesAboutPeers, AreLimitedForEachKind)
{
    for (int i = 0; i < 30; ++i) {
        LogFromLibrary("of a peer", "one kind");
        LogFromLibrary("of a peer", "other kind");
        LogFromLibrary("of a command");
    }
    LogHeldBack(true);
    EXPECT_EQ(CountOf("level=2 of a peer\n"), 40);
    EXPECT_EQ(CountOf("level=2 of a command\n"), 30);
    EXPECT_EQ(CountOf("level=2 10 more like these within a second: one kind\n"), 1);
    EXPECT_EQ(CountOf("level=2 10 more like these within a second: other kind\n"), 1);
}

}  // namespace
