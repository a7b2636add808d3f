// Each allocation below one operation of an endpoint fails once: the caller gets an error and no
// exception, and the endpoint goes on. A leak checker in the build sees what was lost on the way.

#include <IpcMessage.h>
#include <LinxIpc.h>
#include <LogClient.h>
#include <RegionVisItem.h>
#include <SubtitleClient.h>

#include "tests/support/SimulatedService.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <new>

namespace {

thread_local int allowed = -1;  ///< allocations of this thread until one fails; negative for ever
thread_local bool isLasting = false;
thread_local bool wasRefused = false;

bool MustRefuse()
{
    if (allowed < 0) {
        return false;
    }
    if (allowed > 0) {
        --allowed;
        return false;
    }
    wasRefused = true;
    allowed = isLasting ? 0 : -1;
    return true;
}

void* Take(std::size_t size)
{
    void* const memory = MustRefuse() ? nullptr : std::malloc(size);
    if (!memory) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

void* operator new(std::size_t size) { return Take(size); }
void* operator new[](std::size_t size) { return Take(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return MustRefuse() ? nullptr : std::malloc(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return MustRefuse() ? nullptr : std::malloc(size);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

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

    static int Ping(LinxIpc& ipc)
    {
        IpcMessage request;
        const int error = request.Allocate(0x3B01, 0, nullptr);
        return error != 0 ? error : ipc.Request("SubtitleMgr", request, 0x3B02, 2000, nullptr);
    }

    static void CountOne(LinxIpc* from, void* count)
    {
        RegionVisItem item;
        item.Decode(from->ReceivedMessage().Payload());
        const std::string text(100, 'x');  // as a handler may need it
        *static_cast<unsigned*>(count) += static_cast<unsigned>(text.size() / 100);
    }

    /// Refuses the first, second, third ... allocation of \p operation on a fresh endpoint until it
    /// needs no more, alone and with all that follow; \p prepare runs unhindered before.
    static void RefuseEach(const std::function<void(LinxIpc&)>& prepare,
                           const std::function<int(LinxIpc&)>& operation)
    {
        for (const bool lasting : {false, true}) {
            unsigned refusals = 0;
            for (int number = 0; number < 200; ++number) {
                LinxIpc ipc("AnEndpointWithANameOfManyLetters");
                prepare(ipc);
                wasRefused = false;
                isLasting = lasting;
                allowed = number;
                int result = -1;
                EXPECT_NO_THROW(result = operation(ipc)) << "allocation " << number;
                allowed = -1;
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

    const TempDir folder;
    SimulatedService service{folder.Path()};
};

void Nothing(LinxIpc&) {}
void Init(LinxIpc& ipc) { EXPECT_EQ(ipc.Init(), 0); }

TEST_F(RefusedMemory, IsAnErrorOfInit)
{
    RefuseEach(Nothing, [](LinxIpc& ipc) { return ipc.Init(); });
}

TEST_F(RefusedMemory, IsAnErrorOfARequest) { RefuseEach(Init, Ping); }

TEST_F(RefusedMemory, IsAnErrorOfAOneWayMessage)
{
    RefuseEach(Init, [](LinxIpc& ipc) {
        IpcMessage message;
        const int error = message.Allocate(0x1234, 0, nullptr);
        return error != 0 ? error : ipc.Notify("SubtitleMgr", message, true);
    });
}

TEST_F(RefusedMemory, IsAnErrorOfASubscription)
{
    RefuseEach(Init, [](LinxIpc& ipc) {
        SubtitleClient client(ipc, 2000);
        RegionVisItem unused;
        unsigned count = 0;
        return client.Subscribe(6, 15132, unused, CountOne, &count);
    });
}

TEST_F(RefusedMemory, InAHandlerLosesThatNotificationOnly)
{
    unsigned count = 0;
    RefuseEach(
        [&](LinxIpc& ipc) {
            Init(ipc);
            SubtitleClient client(ipc, 2000);
            RegionVisItem item;
            item.regionId = 3;
            EXPECT_EQ(client.Subscribe(6, 15132, item, CountOne, &count), 0);
            EXPECT_EQ(client.SetRegionVisibility(item), 0);
        },
        [](LinxIpc& ipc) { return ipc.Receive(2000, 0, LinxIpc::emptyString, nullptr); });
    EXPECT_GT(count, 0u);
}

TEST_F(RefusedMemory, WhileAConnectionIsMadeAnewLeavesNoneWithoutItsSubscriptions)
{
    unsigned count = 0;
    RefuseEach(
        [&](LinxIpc& ipc) {
            Init(ipc);
            SubtitleClient client(ipc, 2000);
            RegionVisItem item;
            EXPECT_EQ(client.Subscribe(6, 15132, item, CountOne, &count), 0);
            service.Stop();
            service.Start();
        },
        Ping);
    LinxIpc other("Other");
    Init(other);
    EXPECT_EQ(Ping(other), 0);
}

}  // namespace
