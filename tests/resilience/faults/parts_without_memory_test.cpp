// Parts of the library and the service when an allocation fails: what they lose and report.

#include "simulator/journal/logs.h"
#include "simulator/listener.h"
#include "simulator/server.h"
#include "simulator/simulator.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/arguments.h"
#include "tests/resilience/faults/refused_allocations.h"
#include "tests/unit/captured_console.h"

#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <SysLogMsg.h>

#include "platform/src/input_blocks.h"
#include "platform/src/log_sink.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <set>

using namespace platform;
using namespace sim;

namespace {

/// It must not keep the bytes of an earlier record.
TEST(RecordWithoutMemory, ThrowsAndIsLeftEmpty)
{
    unsigned char region[] = {3, 2, 0, 0, 0, 4, 1, 2, 3, 4};
    RegionDataItem bitmap;
    bitmap.data = {9};
    unsigned char table[] = {3, 31, 1, 0, 0, 0, 4, 1, 2, 3, 4};
    PaletteItem palette;
    palette.paletteData = {9};
    {
        const RefusedAllocation refused(0, RefusedAllocation::Extent::AllThatFollow);
        EXPECT_THROW(bitmap.Decode(region), std::bad_alloc);
        EXPECT_THROW(palette.Decode(table), std::bad_alloc);
    }
    EXPECT_TRUE(bitmap.data.empty());
    EXPECT_TRUE(palette.paletteData.empty());
    bitmap.Decode(region);
    palette.Decode(table);
    EXPECT_EQ(bitmap.data.size(), 4u);
    EXPECT_EQ(palette.paletteData.size(), 4u);
}

TEST(LogEntryWithoutMemory, IsLostAloneAndKeepsErrno)
{
    const TempDir folder;
    setenv("SUBTITLE_LOG", (folder / "log").c_str(), 1);
    const std::string text(100, 'x');
    int number = 0;
    for (bool wasRefused = true; wasRefused; ++number) {
        auto message = std::make_unique<SysLogMsg>();
        message->Log(logErrors, "a process with a long name") << text;
        {
            const RefusedAllocation refused(number);
            errno = 77;
            message.reset();  // an exception in the destructor would end the program
            EXPECT_EQ(errno, 77);
            wasRefused = refused.Happened();
        }
        EXPECT_EQ(ReadWholeFile(folder / "log").empty(), wasRefused) << "allocation " << number;
    }
    EXPECT_GT(number, 1);
    unsetenv("SUBTITLE_LOG");
}

TEST(StreamWithoutMemory, LosesNoByte)
{
    const std::string large(3000, 'y');
    std::string rest = FrameBytes(FrameKind::Notification, 0x1234, 4, "payload") +
                       FrameBytes(FrameKind::Notification, 0x1234, 4, large);
    InputBlocks input;
    ReceivedFrame held{};
    const char* problem = nullptr;
    unsigned refusals = 0;
    while (!rest.empty()) {
        std::size_t size = 0;
        {
            const RefusedAllocation refused(0);
            const bool hasRoom = input.Room(size) != nullptr;
            ASSERT_NE(hasRoom, refused.Happened());
            refusals += refused.Happened();
        }
        unsigned char* const room = input.Room(size);
        const std::size_t count = std::min({size, rest.size(), std::size_t{400}});
        std::memcpy(room, rest.data(), count);
        input.Received(count);
        rest.erase(0, count);
        if (!held.payload) {  // while it is held, the large one needs another block
            ASSERT_EQ(input.Next(held, problem), InputBlocks::Cut::Frame);
        }
    }
    EXPECT_GT(refusals, 1u);
    ReceivedFrame second{};
    ASSERT_EQ(input.Next(second, problem), InputBlocks::Cut::Frame);
    EXPECT_EQ(std::memcmp(second.payload, large.data(), large.size()), 0);
    EXPECT_EQ(std::memcmp(held.payload, "payload", 7), 0);
}

TEST(ServiceWithoutMemory, CannotStart)
{
    setenv("LINX_DIR", "not an absolute path", 1);
    Arguments arguments(
        {"SubtitleMgrSim", "--name=a name of so many letters that it needs memory"});
    const auto start = [&](int number, bool& wasRefused) {
        return ErrorsOf([&] {
            const RefusedAllocation refused(number);
            EXPECT_EQ(RunSimulator(2, arguments.Words()), 1);
            wasRefused = refused.Happened();
        });
    };
    bool wasRefused = false;
    EXPECT_EQ(start(0, wasRefused), "SubtitleMgrSim: std::bad_alloc\n");
    for (int number = 1; wasRefused; ++number) {
        start(number, wasRefused);
    }
    unsetenv("LINX_DIR");
}

/// Three clients: the first one makes requests, the others send a quit message, so that the service
/// ends although it has no memory for one of them.
class RunningService : public testing::Test {
protected:
    RunningService() { setenv("LINX_DIR", folder.Path().c_str(), 1); }
    ~RunningService() override { unsetenv("LINX_DIR"); }

    struct Outcome {
        bool wasRefused = false;
        std::string said;
        std::string journalled;
        std::vector<unsigned int> received;  ///< message numbers that the first client received
    };

    Outcome RunWithout(int number, const std::vector<FaultSpec>& faults)
    {
        Outcome outcome;
        Listener listener;
        std::string problem;
        EXPECT_TRUE(listener.Open("SubtitleMgr", problem)) << problem;
        const std::string path = folder / "SubtitleMgr";
        RawClient asking(path);
        asking.SendFrame(FrameKind::Request, messages::subscribe, 1,
                         U32(2) + U32(messages::regionDataItem));
        asking.SendFrame(FrameKind::Request, messages::setRegionData, 2,
                         Bytes({3, 0}) + U32(100) + std::string(100, 'x'));
        RawClient quitting(path);
        RawClient quittingToo(path);
        for (RawClient* client : {&quitting, &quittingToo}) {
            client->SendFrame(FrameKind::OneWay, messages::quit, 0);
        }
        Options options;
        options.quiet = true;
        const TempDir files;
        Logs logs{"SubtitleMgr"};
        EXPECT_TRUE(logs.journal.Open(files / "journal", problem)) << problem;
        EXPECT_TRUE(logs.recorder.Start(files / "recording", problem)) << problem;
        {
            Server server(listener, options, logs);
            EXPECT_TRUE(server.Open(problem)) << problem;
            std::for_each(faults.begin(), faults.end(),
                          [&](const FaultSpec& fault) { server.Cause(fault); });
            outcome.said = ErrorsOf([&] {
                const RefusedAllocation refused(number);
                EXPECT_NO_THROW(server.Run()) << "allocation " << number;
                outcome.wasRefused = refused.Happened();
            });
        }
        outcome.journalled = ReadWholeFile(files / "journal");
        try {
            for (;;) {
                outcome.received.push_back(asking.ReceiveFrame().header.messageId);
            }
        } catch (const std::runtime_error&) {  // the connection is closed
        }
        return outcome;
    }

    /// Refuses each allocation in turn. \return the outcomes, by what the service says, and "none"
    /// of a run without a refusal
    std::map<std::string, Outcome> RunWithoutEach(const std::vector<FaultSpec>& faults = {})
    {
        std::map<std::string, Outcome> outcomes;
        Outcome outcome;
        for (int number = 0; (outcome = RunWithout(number, faults)).wasRefused; ++number) {
            outcomes[outcome.said] = outcome;
        }
        outcomes["none"] = outcome;
        return outcomes;
    }

    const TempDir folder;
};

TEST_F(RunningService, ReportsItsLossesWithoutMemory)
{
    const std::string lost = "SubtitleMgrSim: client 1: there is no memory for its notifications\n";
    const std::string caughtUp = "SubtitleMgrSim: client 1: has caught up; notifications lost: 1\n";
    const std::string recording =
        "SubtitleMgrSim: the recording is not complete: Cannot allocate memory\n";
    const std::string refusal = "SubtitleMgrSim: client 1: refused: there is no memory for it\n";
    const std::set<std::string> expected = {
        "none",
        refusal,
        "SubtitleMgrSim: there is no memory for a client; it was turned away\n",
        "SubtitleMgrSim: client 1: dropped: there is no memory for what it sends\n",
        lost + caughtUp,
        lost + recording + caughtUp,
        "SubtitleMgrSim: client 2: dropped: there is no memory for what it sends\n",
        "SubtitleMgrSim: the journal is not complete: Cannot allocate memory\n",
        recording};
    auto outcomes = RunWithoutEach();
    std::set<std::string> said;
    for (const auto& entry : outcomes) {
        said.insert(entry.first);
    }
    EXPECT_EQ(said, expected);
    std::vector<unsigned int> replies = {messages::subscribe + 1, messages::setRegionData + 1};
    EXPECT_EQ(outcomes[refusal].received, replies);
    EXPECT_EQ(outcomes[refusal].journalled.find("SetRegionData"), std::string::npos);
    replies.push_back(messages::regionDataItem);
    EXPECT_EQ(outcomes["none"].received, replies);
}

TEST_F(RunningService, DropsAClientWithoutMemoryForReplies)
{
    FaultSpec late;
    std::string problem;
    ASSERT_TRUE(ParseFault({"late", "delay=0"}, late, problem)) << problem;
    EXPECT_EQ(RunWithoutEach({late}).count(
                  "SubtitleMgrSim: client 1: dropped: there is no memory for its replies\n"),
              1u);
}

}  // namespace
