// Requests and scenarios that cost far more than their bytes: other clients do not notice.

#include "tests/harness/build_kind.h"
#include "tests/harness/wait_limits.h"
#include "tests/resilience/faults/process_facts.h"
#include "tests/service/SimulatorSession.h"

#include "platform/src/deadline.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <optional>
#include <stdexcept>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// The largest there is, or one that a slow program copies as quickly. Either costs more than a
/// turn.
const std::string largestBitmap(isSanitized || isEmulated ? maxPayload / 8 : maxPayload - 6, 'x');

/// \p time, or more when the machine is slow or busy: as much more as a copy of a bitmap takes
/// longer than ten milliseconds.
milliseconds Scaled(milliseconds time)
{
    const auto start = Clock::now();
    const std::string copy = largestBitmap;
    EXPECT_EQ(copy.back(), 'x');
    const auto taken = std::chrono::ceil<milliseconds>(Clock::now() - start);
    return time *
           std::max<milliseconds::rep>(isSanitized || isEmulated ? 10 : 1, taken.count() / 10);
}

/// The longest wait of \p client for one of its pings within the given time.
milliseconds SlowestPing(WireClient& client, milliseconds time)
{
    milliseconds slowest{0};
    for (const auto end = Clock::now() + time; Clock::now() < end;) {
        const auto start = Clock::now();
        EXPECT_EQ(client.Ask(messages::ping), "");
        slowest = std::max(slowest, std::chrono::ceil<milliseconds>(Clock::now() - start));
        std::this_thread::sleep_for(milliseconds(1));
    }
    return slowest;
}

/// Whether no ping waits longer than \p limit. The machine may be busy with something else, so it
/// is enough when that is so in one of several times.
bool AnswersWithin(milliseconds limit, WireClient& client)
{
    for (int time = 0; time < 10; ++time) {
        if (SlowestPing(client, milliseconds(500)) < Scaled(limit)) {
            return true;
        }
    }
    return false;
}

class CostlyRefreshes : public SimulatorSession {
protected:
    CostlyRefreshes()
    {
        service.Quiet().Start();
        attacker.emplace(service.SocketPath());
        for (unsigned int region = 1; region <= 14; ++region) {
            EXPECT_EQ(
                attacker->Ask(messages::setRegionData, RegionDataRecord(region, 0, largestBitmap)),
                accepted);
        }
    }
    ~CostlyRefreshes() override
    {
        isReading = false;
        if (reader.joinable()) {
            service.Process().Signal(SIGTERM);
            reader.join();
        }
    }

    void AskForRefreshes()
    {
        std::string requests;
        for (unsigned int number = 1; number <= 64; ++number) {
            requests += FrameBytes(FrameKind::Request, messages::refreshRegions, number, "");
        }
        attacker->Send(requests);
    }

    /// A subscriber of every bitmap that takes all it gets, until the service ends.
    void StartReader()
    {
        auto subscriber = std::make_unique<WireClient>(service.SocketPath());
        subscriber->Subscribe(1);
        reader = std::thread([this, client = std::move(subscriber)] {
            try {
                while (isReading) {
                    client->ReceiveFrame();
                    ++framesRead;
                }
            } catch (const std::runtime_error&) {  // the service has ended
            }
        });
    }

    void WaitForReader()
    {
        for (const Deadline deadline(eventDeadlineMs); framesRead == 0;) {
            ASSERT_FALSE(deadline.HasPassed()) << "no bitmap was published";
            std::this_thread::sleep_for(milliseconds(1));
        }
    }

    void ExpectEndWithinASecond()
    {
        const auto start = Clock::now();
        service.Process().Signal(SIGTERM);
        EXPECT_EQ(service.Process().WaitForExit(), 0);
        EXPECT_LT(Clock::now() - start, Scaled(milliseconds(1000)));
    }

    std::optional<WireClient> attacker;
    std::atomic<bool> isReading{true};
    std::atomic<unsigned int> framesRead{0};
    std::thread reader;
};

TEST_F(CostlyRefreshes, DelayNoPingWithoutSubscriber)
{
    WireClient other = Connect();
    EXPECT_EQ(other.Ask(messages::ping), "");
    AskForRefreshes();
    const milliseconds slowest = SlowestPing(other, milliseconds(300));
    EXPECT_LT(slowest, Scaled(milliseconds(100)));
    for (unsigned int number = 1; number <= 64; ++number) {
        EXPECT_EQ(attacker->ReceiveFrame().header.correlation, number);
    }
}

TEST_F(CostlyRefreshes, DelayNoPingWithASubscriber)
{
    WireClient other = Connect();
    StartReader();
    AskForRefreshes();
    WaitForReader();
    EXPECT_TRUE(AnswersWithin(milliseconds(100), other));
}

TEST_F(CostlyRefreshes, DoNotDelayTheEndWithoutSubscriber)
{
    AskForRefreshes();
    ExpectEndWithinASecond();
}

TEST_F(CostlyRefreshes, DoNotDelayTheEndWithASubscriber)
{
    StartReader();
    AskForRefreshes();
    WaitForReader();
    ExpectEndWithinASecond();
}

TEST_F(CostlyRefreshes, AreAllPublishedAfterTheRequesterHasGone)
{
    WireClient subscriber = Connect();
    subscriber.Subscribe(4);
    attacker->Request(messages::refreshRegions);
    EXPECT_EQ(attacker->ReceiveFrame().header.messageId, messages::refreshRegions + 1);
    attacker.reset();
    // A backlog keeps the newest one whatever its size, so the last one is among those received.
    unsigned int region = 0;
    while (region != 14) {
        const RawFrame frame = subscriber.ReceiveFrame();
        ASSERT_EQ(frame.header.messageId, messages::regionDataItem);
        ASSERT_GT(static_cast<unsigned char>(frame.payload[0]), region);
        region = static_cast<unsigned char>(frame.payload[0]);
    }
}

TEST_F(CostlyRefreshes, ArePublishedBeforeTheNextRequestOfTheirClientIsServed)
{
    attacker->Subscribe(4);
    attacker->Send(FrameBytes(FrameKind::Request, messages::refreshRegions, 100, "") +
                   FrameBytes(FrameKind::Request, messages::ping, 101, ""));
    EXPECT_EQ(attacker->ReceiveFrame().header.correlation, 100u);
    unsigned int lastRegion = 0;
    RawFrame frame = attacker->ReceiveFrame();
    for (; frame.header.kind == FrameKind::Notification; frame = attacker->ReceiveFrame()) {
        lastRegion = static_cast<unsigned char>(frame.payload[0]);
    }
    EXPECT_EQ(frame.header.correlation, 101u);
    EXPECT_EQ(lastRegion, 14u);
}

TEST_F(SimulatorSession, PlaysGarbageForNoSubscriberAtNoCost)
{
    std::string lines;
    for (int i = 0; i < 200; ++i) {
        lines += "region-data 1 0 @large\n";
    }
    service.Accompany("large", largestBitmap).Fault("garbage").Play(lines).Loop().Quiet().Start();
    WireClient client = Connect();
    EXPECT_EQ(client.Ask(messages::ping), "");
    const auto start = Clock::now();
    const long before = ProcessorMilliseconds(service.Process().Pid());
    EXPECT_TRUE(AnswersWithin(milliseconds(50), client));
    const long used = ProcessorMilliseconds(service.Process().Pid()) - before;
    // Below a tenth of a processor.
    EXPECT_LT(milliseconds(used) * 10, Clock::now() - start);
}

}  // namespace
