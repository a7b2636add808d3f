// Requests and scenarios that cost far more time than their bytes: they delay no other client.

#include "tests/harness/build_kind.h"
#include "tests/harness/process_facts.h"
#include "tests/service/SimulatorSession.h"

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

/// Larger than the limit of a turn; smaller where copying is slow.
const std::string largestBitmap(isSanitized || isEmulated ? maxPayload / 8 : maxPayload - 6, 'x');

/// \p time, multiplied by the time that copying a bitmap takes now, in units of ten milliseconds.
milliseconds Scaled(milliseconds time)
{
    const auto start = Clock::now();
    const std::string copy = largestBitmap;
    EXPECT_EQ(copy.back(), 'x');
    const auto taken = std::chrono::ceil<milliseconds>(Clock::now() - start);
    return time *
           std::max<milliseconds::rep>(isSanitized || isEmulated ? 10 : 1, taken.count() / 10);
}

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

/// Whether no ping of one period waits longer than \p limit. There are several periods, because the
/// machine may be busy during some of them.
bool AnswersWithin(milliseconds limit, WireClient& client)
{
    for (int period = 0; period < 10; ++period) {
        if (SlowestPing(client, milliseconds(300)) < Scaled(limit)) {
            return true;
        }
    }
    return false;
}

class CostlyRefresh : public SimulatorSession {
protected:
    CostlyRefresh()
    {
        service.Quiet().Start();
        editor.emplace(service.SocketPath());
        for (unsigned int region = 1; region <= 14; ++region) {
            EXPECT_EQ(
                editor->Ask(messages::setRegionData, RegionDataRecord(region, 0, largestBitmap)),
                accepted);
        }
    }
    ~CostlyRefresh() override
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
        editor->Send(requests);
    }

    /// Requests refreshes. A subscriber reads every bitmap until the service ends.
    void StartRefreshes()
    {
        auto subscriber = std::make_unique<WireClient>(service.SocketPath());
        subscriber->Subscribe(1);
        AskForRefreshes();
        subscriber->ReceiveFrame();
        reader = std::thread([this, client = std::move(subscriber)] {
            try {
                while (isReading) {
                    client->ReceiveFrame();
                }
            } catch (const std::runtime_error&) {  // the service has ended
            }
        });
    }

    std::optional<WireClient> editor;
    std::atomic<bool> isReading{true};
    std::thread reader;
};

TEST_F(CostlyRefresh, DelaysNoPingWithoutSubscriber)
{
    WireClient other = Connect();
    EXPECT_EQ(other.Ask(messages::ping), "");
    AskForRefreshes();
    EXPECT_LT(SlowestPing(other, milliseconds(300)), Scaled(milliseconds(100)));
    for (unsigned int number = 1; number <= 64; ++number) {
        EXPECT_EQ(editor->ReceiveFrame().header.correlation, number);
    }
}

TEST_F(CostlyRefresh, LetsTheServiceEndAtOnce)
{
    StartRefreshes();
    const auto start = Clock::now();
    service.Process().Signal(SIGTERM);
    EXPECT_EQ(service.Process().WaitForExit(), 0);
    EXPECT_LT(Clock::now() - start, Scaled(milliseconds(1000)));
}

TEST_F(CostlyRefresh, IsPublishedAfterItsRequesterDisconnects)
{
    WireClient subscriber = Connect();
    subscriber.Subscribe(4);
    editor->Ask(messages::refreshRegions);
    editor.reset();
    // A backlog always keeps its newest notification, so the last bitmap arrives.
    for (unsigned int region = 0; region != 14;) {
        const RawFrame frame = subscriber.ReceiveFrame();
        ASSERT_EQ(frame.header.messageId, messages::regionDataItem);
        ASSERT_GT(static_cast<unsigned char>(frame.payload[0]), region);
        region = static_cast<unsigned char>(frame.payload[0]);
    }
}

TEST_F(CostlyRefresh, PrecedesTheNextRequestOfItsClient)
{
    editor->Subscribe(4);
    editor->Send(FrameBytes(FrameKind::Request, messages::refreshRegions, 100, "") +
                 FrameBytes(FrameKind::Request, messages::ping, 101, ""));
    EXPECT_EQ(editor->ReceiveFrame().header.correlation, 100u);
    unsigned int lastRegion = 0;
    RawFrame frame = editor->ReceiveFrame();
    for (; frame.header.kind == FrameKind::Notification; frame = editor->ReceiveFrame()) {
        lastRegion = static_cast<unsigned char>(frame.payload[0]);
    }
    EXPECT_EQ(frame.header.correlation, 101u);
    EXPECT_EQ(lastRegion, 14u);
}

using GarbageWithoutSubscriber = SimulatorSession;

TEST_F(GarbageWithoutSubscriber, CostsNothing)
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
    const milliseconds used(ProcessorMilliseconds(service.Process().Pid()) - before);
    EXPECT_LT(used * 10, Clock::now() - start)
        << "the service uses more than a tenth of a processor";
}

}  // namespace
