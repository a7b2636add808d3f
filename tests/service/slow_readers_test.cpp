// A subscriber that reads nothing, or too little, loses notifications itself. Other subscribers
// lose nothing.

#include "tests/harness/build_kind.h"
#include "tests/harness/process_facts.h"
#include "tests/service/SimulatorSession.h"

#include "platform/src/deadline.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <regex>
#include <thread>

namespace {

constexpr unsigned int recordsInAPass = 200;

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

class StalledSubscriber : public SimulatorSession {
protected:
    StalledSubscriber()
    {
        service.Play(NumberedScenario()).Loop().Quiet().Start();
        for (auto* client : {&stalled, &first, &second}) {
            client->emplace(service.SocketPath());
            (*client)->Subscribe(4);
        }
        second->Subscribe(12);  // starts the scenario, which publishes nothing under this number
    }

    /// Expects that both readers get this many more records without a gap.
    void ReadOn(unsigned int count)
    {
        for (unsigned int i = 0; i < count; ++i, ++read) {
            const std::string expected = NotificationBytes(4, messages::regionDataItem,
                                                           NumberedRecord(read % recordsInAPass));
            ASSERT_TRUE(first->ReceiveBytes() == expected) << "record " << read;
            ASSERT_TRUE(second->ReceiveBytes() == expected) << "record " << read;
        }
    }

    std::optional<WireClient> stalled;
    std::optional<WireClient> first;
    std::optional<WireClient> second;
    unsigned int read = 0;
};

TEST_F(StalledSubscriber, CostsOthersNeitherNotificationsNorReplies)
{
    WireClient other = Connect();
    for (int round = 0; round < 20; ++round) {
        ReadOn(500);
        ASSERT_FALSE(HasFatalFailure());
        ASSERT_EQ(other.Ask(messages::ping), "");
    }
    const long before = ResidentKilobytes(service.Process().Pid());
    ReadOn(10000);
    if (!isSanitized) {
        // 10,000 records are 5 MB; the stalled subscriber's backlog keeps 256 of them at most.
        EXPECT_LT(ResidentKilobytes(service.Process().Pid()), before + 1024);
    }
    EXPECT_EQ(service.Process().Errors(),
              "SubtitleMgrSim: client 1: stalled, has left notifications unread for two seconds; "
              "publishing no longer waits for it\n");
}

TEST_F(StalledSubscriber, GetsRepliesAndLosesItsOldestNotifications)
{
    ReadOn(10000);
    const unsigned int correlation = stalled->Request(messages::ping);
    unsigned int notifications = 0;
    RawFrame frame = stalled->ReceiveFrame();
    for (; frame.header.kind == FrameKind::Notification; frame = stalled->ReceiveFrame()) {
        ++notifications;
    }
    EXPECT_EQ(frame.header.correlation, correlation);
    EXPECT_LT(notifications, 10000u);
    stalled->Close();
    service.Process().WaitForErrors("; notifications lost: ");
    service.Process().WaitForErrors("\n");
    const std::string errors = service.Process().Errors();
    EXPECT_TRUE(std::regex_match(
        errors, std::regex("SubtitleMgrSim: client 1: stalled, [^\n]*\n"
                           "SubtitleMgrSim: client 1: has (gone|caught up); notifications lost: "
                           "[1-9][0-9]*\n(SubtitleMgrSim: client 1: has gone[^\n]*\n)?")))
        << errors;
}

/// Reads 64 KiB every 0.9 s until the connection closes or the object is destroyed.
class TricklingReader {
public:
    explicit TricklingReader(const std::string& path) : client(path)
    {
        client.Subscribe(2);
        thread = std::thread([this] {
            while (!isOver) {
                client.TakeBytes(64 * 1024);
                for (const Deadline pause(900); !pause.HasPassed() && !isOver;) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(10));
                }
            }
        });
    }
    ~TricklingReader()
    {
        isOver = true;
        thread.join();
    }
    TricklingReader(const TricklingReader&) = delete;
    TricklingReader& operator=(const TricklingReader&) = delete;

private:
    WireClient client;
    std::atomic<bool> isOver{false};
    std::thread thread;
};

class TricklingSubscriber : public SimulatorSession {
protected:
    /// Number of bytes that \p reader gets in half a second.
    static double RateOf(WireClient& reader)
    {
        std::size_t bytes = 0;
        for (const Deadline deadline(500); !deadline.HasPassed();) {
            bytes += reader.ReceiveFrame().payload.size();
        }
        return static_cast<double>(bytes);
    }
};

TEST_F(TricklingSubscriber, SlowsNoOtherOneAfterTwoSeconds)
{
    service.Accompany("bitmap", std::string(20000, 'x'));
    service.Play("region-data 1 0 @bitmap\n").Loop().Quiet().Start();
    WireClient reader = Connect();
    reader.Subscribe(2);
    // 90 % on an idle machine; less than 1 % if every turn waits for the slow subscriber.
    constexpr double wanted = 0.5;
    double best = 0;
    for (int attempt = 0; attempt < 5 && best < wanted; ++attempt) {
        const double alone = RateOf(reader);
        const TricklingReader trickling(service.SocketPath());
        for (const Deadline deadline(2500); !deadline.HasPassed();) {
            reader.ReceiveFrame();
        }
        best = std::max(best, (RateOf(reader) + RateOf(reader)) / 2 / alone);
        EXPECT_EQ(service.Process().Errors().find("has caught up"), std::string::npos);
    }
    EXPECT_GE(best, wanted);
}

}  // namespace
