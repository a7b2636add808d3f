// A client that takes nothing costs only itself.

#include "tests/harness/build_kind.h"
#include "tests/service/SimulatorSession.h"

#include "platform/src/deadline.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <regex>
#include <thread>

namespace {

constexpr unsigned int recordsInAPass = 200;

/// A record that says its own number.
std::string NumberedRecord(unsigned int number)
{
    return RegionDataRecord(1, 2, std::string(500, static_cast<char>(number)));
}

std::string NumberedScenario()
{
    static const char digits[] = "0123456789abcdef";
    std::string text = "wait-subscribers 12\n";
    for (unsigned int number = 0; number < recordsInAPass; ++number) {
        text += "region-data 1 2 ";
        for (int i = 0; i < 500; ++i) {
            text += digits[number / 16];
            text += digits[number % 16];
        }
        text += "\n";
    }
    return text;
}

/// Kilobytes of memory in use.
unsigned long MemoryOf(pid_t pid)
{
    const std::string status = ReadWholeFile("/proc/" + std::to_string(pid) + "/status");
    return std::stoul(status.substr(status.find("VmRSS:") + 6));
}

std::size_t CountOf(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

class AStalledSubscriber : public SimulatorSession {
protected:
    AStalledSubscriber()
    {
        service.Play(NumberedScenario()).Loop().Quiet().Start();
        // The other formats' subscription starts the scenario; nothing is published under it.
        stalled.emplace(service.SocketPath());
        stalled->Subscribe(4);
        first.emplace(service.SocketPath());
        first->Subscribe(4);
        second.emplace(service.SocketPath());
        second->Subscribe(4);
        second->Subscribe(12);
    }

    /// Both readers get this many records more, none missing.
    void ReadOn(unsigned int count)
    {
        for (unsigned int i = 0; i < count; ++i, ++read) {
            const std::string expected =
                NotificationBytes(4, 15129, NumberedRecord(read % recordsInAPass));
            ASSERT_TRUE(first->ReceiveBytes() == expected) << "record " << read;
            ASSERT_TRUE(second->ReceiveBytes() == expected) << "record " << read;
        }
    }

    std::optional<WireClient> stalled;
    std::optional<WireClient> first;
    std::optional<WireClient> second;
    unsigned int read = 0;
};

TEST_F(AStalledSubscriber, CostsReadersNothingAndOthersNoAnswer)
{
    WireClient other = Connect();
    for (int round = 0; round < 20; ++round) {
        ReadOn(500);
        ASSERT_FALSE(HasFatalFailure());
        ASSERT_EQ(other.Ask(messages::ping), "");
    }
    const unsigned long before = MemoryOf(service.Process().Pid());
    ReadOn(10000);
    if (!isSanitized) {
        // 10,000 records are 5 MB; the one that takes nothing keeps 256 of them at most.
        EXPECT_LT(MemoryOf(service.Process().Pid()), before + 1024);
    }
    EXPECT_EQ(service.Process().Errors(),
              "SubtitleMgrSim: client 1: stalled, has left notifications unread for two seconds; "
              "publishing no longer waits for it\n");
}

TEST_F(AStalledSubscriber, KeepsItsConnectionAndItsRepliesAndLosesTheOldestCounted)
{
    ReadOn(10000);
    const unsigned int correlation = stalled->Request(messages::ping);
    // What was under way before the loss, then the newest that were kept, and the reply.
    unsigned int notifications = 0;
    bool answered = false;
    while (!answered) {
        const RawFrame frame = stalled->ReceiveFrame();
        answered = frame.header.kind == FrameKind::Reply;
        notifications += answered ? 0 : 1;
        if (answered) {
            EXPECT_EQ(frame.header.correlation, correlation);
        }
    }
    EXPECT_LT(notifications, 10000u);
    stalled->Close();
    const std::string gone = "client 1: has ";
    service.Process().WaitForErrors(gone);
    service.Process().WaitForErrors("; notifications lost: ");
    service.Process().WaitForErrors("\n");
    const std::string errors = service.Process().Errors();
    EXPECT_EQ(CountOf(errors, "client 1: stalled"), 1u);
    std::smatch lost;
    ASSERT_TRUE(std::regex_search(
        errors, lost, std::regex("has (?:gone|caught up); notifications lost: ([0-9]+)")));
    EXPECT_GT(std::stoul(lost[1]), 0u);
    EXPECT_EQ(errors.find("client 2"), std::string::npos);
    EXPECT_EQ(errors.find("client 3"), std::string::npos);
}

/// Takes 64 KiB each 0.9 s, until the connection is closed or the object ends.
class TricklingReader {
public:
    explicit TricklingReader(const std::string& path) : client(path)
    {
        client.Subscribe(2);
        thread = std::thread([this] {
            std::unique_lock<std::mutex> lock(mutex);
            while (
                !ended.wait_for(lock, std::chrono::milliseconds(900), [this] { return isOver; })) {
                client.TakeBytes(64 * 1024);
            }
        });
    }
    ~TricklingReader()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            isOver = true;
        }
        ended.notify_one();
        thread.join();
    }

private:
    WireClient client;
    std::mutex mutex;
    std::condition_variable ended;
    bool isOver = false;
    std::thread thread;
};

class ATricklingSubscriber : public SimulatorSession {
protected:
    /// Bytes that \p reader gets in the next second.
    static std::size_t RateOf(WireClient& reader)
    {
        std::size_t bytes = 0;
        for (const Deadline deadline(1000); !deadline.HasPassed();) {
            bytes += reader.ReceiveFrame().payload.size();
        }
        return bytes;
    }
};

TEST_F(ATricklingSubscriber, SlowsNoOtherOneAfterTwoSeconds)
{
    service.Accompany("bitmap", std::string(20000, 'x'));
    service.Play("region-data 1 0 @bitmap\n").Loop().Quiet().Start();
    WireClient reader = Connect();
    reader.Subscribe(2);
    // 90 % on a quiet machine, and less than 1 % when every turn waits for the slow subscriber.
    constexpr double wanted = 0.5;
    double best = 0;
    for (int attempt = 0; attempt < 3 && best < wanted; ++attempt) {
        const std::size_t alone = RateOf(reader);
        const TricklingReader trickling(service.SocketPath());
        for (const Deadline deadline(2500); !deadline.HasPassed();) {
            reader.ReceiveFrame();
        }
        const std::size_t beside = (RateOf(reader) + RateOf(reader) + RateOf(reader)) / 3;
        best = std::max(best, static_cast<double>(beside) / static_cast<double>(alone));
        EXPECT_EQ(CountOf(service.Process().Errors(), "has caught up"), 0u);
    }
    EXPECT_GE(best, wanted);
}

}  // namespace
