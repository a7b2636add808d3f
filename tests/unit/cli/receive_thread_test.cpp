#include "cli/SubtitleMgrCli.h"
#include "cli/process_objects.h"
#include "tests/harness/SimulatedService.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/wait_limits.h"

#include <RegionVisItem.h>
#include <SubtitleClient.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <type_traits>
#include <unistd.h>

namespace {

static_assert(std::is_same_v<decltype(subscribed), volatile bool>, "one plain byte, without lock");

std::atomic<int> calls{0};
std::atomic<bool> calledOnMainThread{false};
const pid_t mainThread = gettid();

void NoteCall(LinxIpc*, void*)
{
    calledOnMainThread = gettid() == mainThread;
    ++calls;
}

void WaitForCalls(int count)
{
    WaitUntil([=] { return calls == count; },
              [] { return "one more call than " + std::to_string(calls); });
}

TEST(ReceiveThread, RunsCallbacksOnlyWhileTheFlagIsSet)
{
    const TempDir directory;
    SimulatedService service(directory.Path());
    service.Start();
    setenv("LINX_DIR", directory.Path().c_str(), 1);
    SubtitleMgrCli client;
    ASSERT_EQ(client.PreInit(), 1);

    SubtitleClient requests(linxIpc, 2000);
    RegionVisItem item;
    item.regionId = 1;
    ASSERT_EQ(requests.Subscribe(6, 0x3B1C, item, NoteCall, nullptr), 0);

    // The service publishes before it confirms the request. The thread reads the flag twice a
    // second.
    ASSERT_EQ(requests.SetRegionVisibility(item), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    EXPECT_EQ(calls, 0);

    subscribed = true;
    WaitForCalls(1);
    EXPECT_FALSE(calledOnMainThread);

    // The console pauses for 20 milliseconds, because a running Receive() takes at most 10. The
    // test waits longer, because on a busy machine the thread may also wait for a processor.
    subscribed = false;
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    ASSERT_EQ(requests.SetRegionVisibility(item), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(calls, 1);

    subscribed = true;
    WaitForCalls(2);
    subscribed = false;
}

}  // namespace
