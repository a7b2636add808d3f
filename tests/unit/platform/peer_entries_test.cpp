// Log entries about a service that makes as many of them as it can.

#include <LinxIpc.h>
#include <LogClient.h>
#include <RegionVisItem.h>
#include <SubtitleClient.h>

#include "platform/src/deadline.h"
#include "platform/src/log_sink.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/TempDir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <future>
#include <memory>
#include <regex>
#include <sstream>
#include <string>

using namespace platform;

namespace {

constexpr unsigned int visibility = 15132;
constexpr int malformedAtOnce = 500;

/// Sends malformed records for three seconds. \return how many
int Flood(RawService& service)
{
    const auto peer = service.Accept();
    const unsigned int subscription = peer->AcceptSubscription();
    std::string records;
    for (int i = 0; i < malformedAtOnce; ++i) {
        records += FrameBytes(FrameKind::Notification, visibility, subscription, "x");
    }
    int sent = 0;
    for (const Deadline deadline(3000); !deadline.HasPassed(); sent += malformedAtOnce) {
        peer->Send(records);
    }
    peer->SendFrame(FrameKind::Notification, visibility, subscription,
                    Bytes({1, 1}));  // a good one
    peer->ExpectClosed();
    return sent;
}

class EntriesAboutPeers : public testing::Test {
protected:
    EntriesAboutPeers()
    {
        setenv("LINX_DIR", folder.Path().c_str(), 1);
        setenv("SUBTITLE_LOG", (folder / "earlier").c_str(), 1);
        WriteLogEntry(logErrors, "", "");  // what other tests have lost is told here
        setenv("SUBTITLE_LOG", (folder / "log").c_str(), 1);
        LogClient::Instance().Level(63);
    }
    ~EntriesAboutPeers() override
    {
        unsetenv("LINX_DIR");
        unsetenv("SUBTITLE_LOG");
    }

    std::string Log() const { return ReadWholeFile(folder / "log"); }

    const TempDir folder;
};

TEST_F(EntriesAboutPeers, FillNoDiskAndAreCountedAsTheyCome)
{
    RawService service(folder / "SubtitleMgr");
    auto flood = std::async(std::launch::async, [&] { return Flood(service); });
    auto ipc = std::make_unique<LinxIpc>("Test");
    ASSERT_EQ(ipc->Init(), 0);
    SubtitleClient client(*ipc, 10000);
    RegionVisItem item;
    bool isOver = false;
    const auto end = [](LinxIpc*, void* over) { *static_cast<bool*>(over) = true; };
    ASSERT_EQ(client.Subscribe(6, visibility, item, end, &isOver), 0);
    while (!isOver) {
        ipc->Receive(10000, 0, LinxIpc::emptyString, nullptr);
    }
    EXPECT_NE(Log().find("more like these"), std::string::npos) << "told before the end";
    ipc.reset();
    const int sent = flood.get();

    int told = 0;
    const std::regex one("level=2 dropped a malformed record from SubtitleMgr: .*");
    const std::regex more(
        "level=2 (\\d+) more like these within a second: malformed record dropped");
    std::istringstream lines(Log());
    for (std::string line; std::getline(lines, line);) {
        const std::string text = line.substr(line.find("level="));
        std::smatch count;
        if (std::regex_match(text, count, more)) {
            told += std::stoi(count[1]);
        } else {
            EXPECT_TRUE(std::regex_match(text, one)) << line;
            ++told;
        }
    }
    EXPECT_EQ(told, sent);
    EXPECT_GT(sent, 1000);
    EXPECT_LT(Log().size(), 1000000u * 3 / 60);  // a megabyte a minute
}

TEST_F(EntriesAboutPeers, AreNeitherMadeNorCountedWhenTheirLevelIsOff)
{
    LogClient::Instance().Level(8);
    for (int i = 0; i < 100; ++i) {
        LogFromLibrary("text", "kind");
    }
    LogHeldBack(true);
    EXPECT_EQ(Log(), "");
}

TEST_F(EntriesAboutPeers, AreLimitedEachKindAlone)
{
    for (int i = 0; i < 30; ++i) {
        LogFromLibrary("of a peer", "one kind");
        LogFromLibrary("of a peer", "other kind");
        LogFromLibrary("of a command");
    }
    LogHeldBack(true);
    const std::string log = Log();
    const auto count = [&](const std::string& text) {
        int found = 0;
        for (std::size_t at = 0; (at = log.find(text, at)) != std::string::npos; ++at) {
            ++found;
        }
        return found;
    };
    EXPECT_EQ(count("level=2 of a peer\n"), 40);
    EXPECT_EQ(count("level=2 of a command\n"), 30);
    EXPECT_EQ(count("level=2 10 more like these within a second: one kind\n"), 1);
    EXPECT_EQ(count("level=2 10 more like these within a second: other kind\n"), 1);
}

}  // namespace
