// Requests and scenarios that cost far more time than their bytes: they delay no other client.

#include "tests/harness/build_kind.h"
#include "tests/harness/process_facts.h"
#include "tests/service/SimulatorSession.h"

#include <chrono>
#include <csignal>
#include <optional>
#include <stdexcept>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// Larger than the limit of a turn.
const std::string largeBitmap(2 * 1024 * 1024, 'x');

class CostlyRefresh : public SimulatorSession {
protected:
    CostlyRefresh()
    {
        service.Quiet().Start();
        editor.emplace(service.SocketPath());
        for (unsigned int region = 1; region <= 14; ++region) {
            EXPECT_EQ(
                editor->Ask(messages::setRegionData, RegionDataRecord(region, 0, largeBitmap)),
                accepted);
        }
    }

    std::optional<WireClient> editor;
};

TEST_F(CostlyRefresh, LetsTheServiceEndAtOnce)
{
    std::string requests;
    for (unsigned int number = 1; number <= 1000; ++number) {
        requests += FrameBytes(FrameKind::Request, messages::refreshRegions, number, "");
    }
    WireClient subscriber = Connect({1});
    editor->Send(requests);
    subscriber.ReceiveFrame();
    std::thread reader([&subscriber] { subscriber.ExpectClosed(); });
    const auto start = Clock::now();
    service.Process().Signal(SIGTERM);
    EXPECT_EQ(service.Process().WaitForExit(), 0);
    const auto taken = Clock::now() - start;
    reader.join();
    // They publish 28 GB.
    EXPECT_LT(taken, milliseconds(isSanitized || isEmulated ? 10000 : 3000));
}

TEST_F(CostlyRefresh, IsPublishedAfterItsRequesterDisconnects)
{
    WireClient subscriber = Connect({4});
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
        lines += "region-data 1 0 @bitmap\n";
    }
    service.Accompany("bitmap", largeBitmap).Fault("garbage").Play(lines).Loop().Quiet().Start();
    const auto start = Clock::now();
    const long before = ProcessorMilliseconds(service.Process().Pid());
    std::this_thread::sleep_for(milliseconds(500));
    const milliseconds used(ProcessorMilliseconds(service.Process().Pid()) - before);
    EXPECT_LT(used * 10, Clock::now() - start);
}

}  // namespace
