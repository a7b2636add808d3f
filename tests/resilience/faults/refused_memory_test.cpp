// Each allocation of one endpoint operation fails once: the caller gets an error and no exception,
// and the endpoint goes on. The sanitizer build also reports leaks.

#include <IpcMessage.h>
#include <LinxIpc.h>
#include <LogClient.h>
#include <RegionVisItem.h>
#include <SubtitleClient.h>

#include "tests/harness/SimulatedService.h"
#include "tests/harness/TempDir.h"
#include "tests/resilience/faults/refused_allocations.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <functional>

namespace {

using Extent = RefusedAllocation::Extent;

class RefusedMemory : public testing::Test {
protected:
    RefusedMemory()
    {
        setenv("LINX_DIR", folder.Path().c_str(), 1);
        setenv("SUBTITLE_LOG", (folder / "a log with a name of many letters").c_str(), 1);
        LogClient::Instance().Level(63);
        service.Quiet().Start();
    }
    ~RefusedMemory() override
    {
        unsetenv("LINX_DIR");
        unsetenv("SUBTITLE_LOG");
    }

    /// It must not wait for a reply that it has no memory for.
    static int Ping(LinxIpc& ipc)
    {
        const auto start = std::chrono::steady_clock::now();
        IpcMessage request;
        int error = request.Allocate(0x3B01, 0, nullptr);
        error = error != 0 ? error : ipc.Request("SubtitleMgr", request, 0x3B02, 9000, nullptr);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8));
        return error;
    }

    static void CountOne(LinxIpc* from, void* count)
    {
        RegionVisItem item;
        item.Decode(from->ReceivedMessage().Payload());
        const std::string text(100, 'x');  // a handler may allocate
        *static_cast<unsigned*>(count) += static_cast<unsigned>(text.size() / 100);
    }

    using Call = std::function<int(LinxIpc&)>;

    /// Refuses the first, second, third ... allocation of \p call on a new endpoint, alone and with
    /// all that follow, until the call succeeds. \p prepare runs before, with enough memory.
    static void RefuseEach(const std::function<void(LinxIpc&)>& prepare, const Call& call)
    {
        for (const Extent extent : {Extent::One, Extent::AllThatFollow}) {
            unsigned refusals = 0;
            for (int number = 0; number < 200; ++number) {
                LinxIpc ipc("AnEndpointWithANameOfManyLetters");
                prepare(ipc);
                int result = -1;
                bool wasRefused = false;
                {
                    const RefusedAllocation refused(number, extent);
                    EXPECT_NO_THROW(result = call(ipc)) << "allocation " << number;
                    wasRefused = refused.Happened();
                }
                if (!wasRefused) {
                    EXPECT_EQ(result, 0);
                    break;
                }
                ++refusals;
                EXPECT_EQ(ipc.Init(), 0);
                EXPECT_EQ(Ping(ipc), 0) << "after allocation " << number;
            }
            EXPECT_GT(refusals, 0u);
        }
    }

    /// Subscribes to visibilities; \p count counts them. \return the error
    static int Subscribe(LinxIpc& ipc, unsigned& count)
    {
        RegionVisItem unused;
        return SubtitleClient(ipc, 2000).Subscribe(6, 15132, unused, CountOne, &count);
    }

    static int Show(LinxIpc& ipc)
    {
        RegionVisItem item;
        item.regionId = 3;
        return SubtitleClient(ipc, 2000).SetRegionVisibility(item);
    }

    const TempDir folder;
    SimulatedService service{folder.Path()};
};

void Nothing(LinxIpc&) {}
void Init(LinxIpc& ipc) { EXPECT_EQ(ipc.Init(), 0); }

TEST_F(RefusedMemory, IsAnErrorOfEveryCall)
{
    RefuseEach(Nothing, [](LinxIpc& ipc) { return ipc.Init(); });
    unsigned count = 0;
    const Call calls[] = {
        Ping,
        [](LinxIpc& ipc) {
            IpcMessage message;
            const int error = message.Allocate(0x1234, 0, nullptr);
            return error != 0 ? error : ipc.Notify("SubtitleMgr", message, true);
        },
        [&](LinxIpc& ipc) { return Subscribe(ipc, count); },
        [](LinxIpc& ipc) { return SubtitleClient(ipc, 2000).Unsubscribe(6); },
        [](LinxIpc& ipc) { return SubtitleClient(ipc, 2000).InvertRegionData(2); },
        [](LinxIpc& ipc) {
            return SubtitleClient(ipc, 2000).SendSensorUpdate(e_SensorLights, true) ? 0 : 1;
        },
        Show,
    };
    for (const Call& call : calls) {
        RefuseEach(Init, call);
        LinxIpc ipc("AnEndpointWithANameOfManyLetters");
        Init(ipc);
        const RefusedAllocation refused(0);
        EXPECT_NE(call(ipc), 0);
    }
}

TEST_F(RefusedMemory, LosesOneNotificationInAHandler)
{
    unsigned count = 0;
    RefuseEach(
        [&](LinxIpc& ipc) {
            Init(ipc);
            EXPECT_EQ(Subscribe(ipc, count), 0);
            EXPECT_EQ(Show(ipc), 0);
        },
        [](LinxIpc& ipc) { return ipc.Receive(2000, 0, LinxIpc::emptyString, nullptr); });
    EXPECT_GT(count, 0u);
}

/// Otherwise a receiving thread would use a whole processor until memory is free again.
TEST_F(RefusedMemory, MakesReceivePauseWhileItConnectsAgain)
{
    int error = 0;
    for (int number = 0; number < 30 && error != ENOMEM; ++number) {
        unsigned count = 0;
        LinxIpc ipc("AnEndpointWithANameOfManyLetters");
        Init(ipc);
        ASSERT_EQ(Subscribe(ipc, count), 0);
        service.Stop();
        service.Start();
        const auto start = std::chrono::steady_clock::now();
        {
            const RefusedAllocation refused(number, Extent::AllThatFollow);
            error = ipc.Receive(600, 0, LinxIpc::emptyString, nullptr);
        }
        EXPECT_TRUE(error == ETIMEDOUT || error == ENOMEM) << error;
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(10));
        EXPECT_EQ(Ping(ipc), 0);
    }
    EXPECT_EQ(error, ENOMEM);
}

TEST_F(RefusedMemory, RenewsAllSubscriptionsOrNone)
{
    unsigned count = 0;
    RefuseEach(
        [&](LinxIpc& ipc) {
            Init(ipc);
            EXPECT_EQ(Subscribe(ipc, count), 0);
            service.Stop();
            service.Start();
        },
        Ping);
    LinxIpc other("Other");
    Init(other);
    EXPECT_EQ(Ping(other), 0);
}

}  // namespace
