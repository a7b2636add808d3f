// Parts of both programs when an allocation fails: what they lose and report.

#include "cli/SubtitleMgrCli.h"
#include "cli/process_objects.h"
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
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <set>

using namespace platform;
using namespace sim;

namespace {

template <typename Action>
std::string ErrorsWithout(int number, Action action)
{
    return ErrorsOf([&] {
        OutputOf([&] {
            const RefusedAllocation refused(number);
            action();
        });
    });
}

TEST(ClientWithoutMemory, ReportsFailedLogLevels)
{
    SubtitleMgrCli client;
    int result = -1;
    EXPECT_EQ(ErrorsWithout(0, [&] { result = client.SetLogLevel(linxIpc, "SubtitleMgr", 8); }),
              "Error setting the log level of SubtitleMgr: Cannot allocate memory\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(ErrorsWithout(0, [&] { result = client.HandleLogLevel(linxIpc, "SubtitleMgr"); }),
              "Error getting the log level of SubtitleMgr: Cannot allocate memory\n");
    EXPECT_EQ(result, 2);
}

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

class LogEntryWithoutMemory : public testing::Test {
protected:
    LogEntryWithoutMemory() { setenv("SUBTITLE_LOG", path.c_str(), 1); }
    ~LogEntryWithoutMemory() override { unsetenv("SUBTITLE_LOG"); }

    /// Refuses each allocation of \p write in turn. Each refusal must lose the whole entry.
    /// \return the number of lost entries
    template <typename Write>
    int LoseEach(Write write)
    {
        for (int lost = 0; lost < 100; ++lost) {
            if (!write(lost)) {
                EXPECT_NE(ReadWholeFile(path).find("level=2 " + text + "\n"), std::string::npos);
                return lost;
            }
            EXPECT_EQ(ReadWholeFile(path), "") << "allocation " << lost;
        }
        return -1;
    }

    const TempDir folder;
    const std::string path = folder / "log";
    const std::string text = std::string(100, 'x');
};

TEST_F(LogEntryWithoutMemory, LosesOneEntryOnly)
{
    const std::string process = "a process with a long name";
    EXPECT_GT(LoseEach([&](int number) {
                  const RefusedAllocation refused(number);
                  errno = 77;
                  EXPECT_NO_THROW(WriteLogEntry(logErrors, process, text));
                  EXPECT_EQ(errno, 77);
                  return refused.Happened();
              }),
              0);
}

TEST_F(LogEntryWithoutMemory, IsLostAtTheEndOfItsMessage)
{
    EXPECT_GT(LoseEach([&](int number) {
                  auto message = std::make_unique<SysLogMsg>();
                  message->Log(logErrors, "a process with a long name") << text;
                  const RefusedAllocation refused(number);
                  message.reset();  // an exception in the destructor would end the program
                  return refused.Happened();
              }),
              0);
}

TEST(StreamWithoutMemory, LosesNoByte)
{
    const std::string frame = FrameBytes(FrameKind::Notification, 0x1234, 4, "payload");
    const std::string stream = frame + frame.substr(0, 20);
    InputBlocks input;
    std::size_t size = 0;
    {
        const RefusedAllocation refused(0);
        EXPECT_EQ(input.Room(size), nullptr);
    }
    unsigned char* room = input.Room(size);
    ASSERT_GE(size, 1000u);
    std::memcpy(room, stream.data(), stream.size());
    input.Received(stream.size());
    ReceivedFrame held{};
    const char* problem = nullptr;
    ASSERT_EQ(input.Next(held, problem), InputBlocks::Cut::Frame);
    // A large frame that has begun needs another block while the first one is held.
    const std::string large =
        FrameBytes(FrameKind::Notification, 0x1234, 4, std::string(3000, 'y'));
    std::string rest = frame.substr(20) + large;
    for (bool wasRefused = false; !rest.empty();) {
        const RefusedAllocation refused(wasRefused ? 1000 : 0);
        room = input.Room(size);
        if (!room) {
            ASSERT_FALSE(wasRefused);
            wasRefused = true;
            continue;
        }
        const std::size_t count = std::min({size, rest.size(), std::size_t{400}});
        std::memcpy(room, rest.data(), count);
        input.Received(count);
        rest.erase(0, count);
    }
    ReceivedFrame second{};
    ASSERT_EQ(input.Next(second, problem), InputBlocks::Cut::Frame);
    EXPECT_EQ(std::memcmp(second.payload, "payload", 7), 0);
    ReceivedFrame third{};
    ASSERT_EQ(input.Next(third, problem), InputBlocks::Cut::Frame);
    EXPECT_EQ(third.header.length, 3000u);
    EXPECT_EQ(std::memcmp(held.payload, "payload", 7), 0);
}

TEST(ServiceWithoutMemory, CannotStart)
{
    Arguments arguments(
        {"SubtitleMgrSim", "--name=a name of so many letters that it needs memory"});
    int status = -1;
    EXPECT_EQ(ErrorsWithout(0, [&] { status = RunSimulator(2, arguments.Words()); }),
              "SubtitleMgrSim: std::bad_alloc\n");
    EXPECT_EQ(status, 1);
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

        bool Received(unsigned int messageId) const
        {
            return std::count(received.begin(), received.end(), messageId) > 0;
        }
    };

    Outcome RunWithout(int number, const std::vector<FaultSpec>& faults = {})
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
            for (const FaultSpec& fault : faults) {
                server.Cause(fault);
            }
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

    const TempDir folder;
};

TEST_F(RunningService, ReportsItsLossesWithoutMemory)
{
    const std::string refusal = "SubtitleMgrSim: client 1: refused: there is no memory for it\n";
    std::set<std::string> said;
    int number = 0;
    for (Outcome outcome; (outcome = RunWithout(number)).wasRefused; ++number) {
        ASSERT_LT(number, 200);
        said.insert(outcome.said);
        if (outcome.said == refusal) {
            EXPECT_TRUE(outcome.Received(messages::setRegionData + 1));
            EXPECT_FALSE(outcome.Received(messages::regionDataItem));
            EXPECT_EQ(outcome.journalled.find("SetRegionData"), std::string::npos);
        }
    }
    const std::vector<unsigned int> everything = {
        messages::subscribe + 1, messages::setRegionData + 1, messages::regionDataItem};
    EXPECT_EQ(RunWithout(1000).received, everything);
    const std::set<std::string> expected = {
        refusal,
        "SubtitleMgrSim: there is no memory for a client; it was turned away\n",
        "SubtitleMgrSim: client 1: dropped: there is no memory for what it sends\n",
        "SubtitleMgrSim: client 1: there is no memory for its notifications\n"
        "SubtitleMgrSim: client 1: has caught up; notifications lost: 1\n",
        "SubtitleMgrSim: client 1: there is no memory for its notifications\n"
        "SubtitleMgrSim: the recording is not complete: Cannot allocate memory\n"
        "SubtitleMgrSim: client 1: has caught up; notifications lost: 1\n",
        "SubtitleMgrSim: client 2: dropped: there is no memory for what it sends\n",
        "SubtitleMgrSim: the journal is not complete: Cannot allocate memory\n",
        "SubtitleMgrSim: the recording is not complete: Cannot allocate memory\n"};
    EXPECT_EQ(said, expected);
}

TEST_F(RunningService, DropsAClientWithoutMemoryForReplies)
{
    FaultSpec late;
    std::string problem;
    ASSERT_TRUE(ParseFault({"late", "delay=0"}, late, problem)) << problem;
    std::set<std::string> said;
    int number = 0;
    for (Outcome outcome; (outcome = RunWithout(number, {late})).wasRefused; ++number) {
        ASSERT_LT(number, 200);
        said.insert(outcome.said);
    }
    EXPECT_EQ(said.count("SubtitleMgrSim: client 1: dropped: there is no memory for its replies\n"),
              1u);
}

}  // namespace
