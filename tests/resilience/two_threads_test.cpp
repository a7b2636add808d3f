// One thread waits in Receive(), another one makes requests without pause. The simulated service is
// a process of its own. No reply and no notification may be lost, swapped or late.

#include "platform/src/big_endian.h"
#include "platform/src/wire_format.h"
#include "tests/harness/SimulatedService.h"
#include "tests/harness/build_kind.h"
#include "tests/harness/wait_limits.h"

#include <IpcMessage.h>
#include <LinxIpc.h>
#include <RegionDataItem.h>
#include <SubtitleClient.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

using namespace platform;

namespace {

constexpr unsigned int rounds = isEmulated ? 10000 : 30000;
constexpr unsigned int mostOutstanding = 100;
constexpr unsigned int hd = 2;
constexpr unsigned int regionDataMessage = 15129;

std::vector<unsigned char> Numbered(unsigned int number)
{
    return {static_cast<unsigned char>(number), static_cast<unsigned char>(number >> 8),
            static_cast<unsigned char>(number >> 16)};
}

/// The notifications of the receiving thread. The requesting thread waits for them here.
class Received {
public:
    explicit Received(std::thread::id receiverThread) : receiver(receiverThread) {}

    void Note(const RegionDataItem& item)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        isInOrder = isInOrder && item.data == Numbered(count) && item.regionId == 1 + count % 14 &&
                    std::this_thread::get_id() == receiver;
        ++count;
        changed.notify_all();
    }

    /// Waits until at most \p outstanding of \p sent notifications are missing.
    /// \return whether the others arrived in time
    bool WaitFor(unsigned int sent, unsigned int outstanding)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::milliseconds(eventDeadlineMs),
                                [=] { return sent - count <= outstanding; });
    }

    bool IsInOrder() const { return isInOrder; }
    unsigned int Count() const { return count; }

private:
    const std::thread::id receiver;
    std::mutex mutex;
    std::condition_variable changed;
    unsigned int count = 0;
    bool isInOrder = true;
};

/// Sets the service's log level and reads it. A reply of another request has another level.
bool GetsBack(LinxIpc& ipc, unsigned int level)
{
    const std::string service = "SubtitleMgr";
    IpcMessage set;
    IpcMessage get;
    IpcMessage reply;
    set.Allocate(messages::setLogLevel, 4, nullptr);
    PutU32(set.Payload(), level);
    get.Allocate(messages::getLogLevel, 0, nullptr);
    return ipc.Request(service, set, messages::ReplyTo(messages::setLogLevel), 10000, nullptr) ==
               0 &&
           ipc.Request(service, get, messages::ReplyTo(messages::getLogLevel), 10000, &reply) ==
               0 &&
           GetU32(reply.Payload() + 4) == level;
}

void NoteBitmap(LinxIpc* ipc, void* received)
{
    RegionDataItem item;
    item.Decode(ipc->ReceivedMessage().Payload());
    static_cast<Received*>(received)->Note(item);
}

}  // namespace

TEST(TwoThreads, LoseAndSwapNothing)
{
    const TempDir directory;
    ASSERT_EQ(setenv("LINX_DIR", directory.Path().c_str(), 1), 0);
    SimulatedService service(directory.Path());
    service.Quiet().Start();

    LinxIpc ipc("TwoThreads");
    ASSERT_EQ(ipc.Init(), 0);
    SubtitleClient client(ipc, 10000);
    std::atomic<bool> isOver{false};
    std::thread receiver([&] {
        while (!isOver) {
            ipc.Receive(10, 0, LinxIpc::emptyString, nullptr);
        }
    });
    Received received(receiver.get_id());
    RegionDataItem item;
    EXPECT_EQ(client.Subscribe(hd, regionDataMessage, item, NoteBitmap, &received), 0);

    unsigned int failed = 0;
    unsigned int sent = 0;
    while (sent < rounds && failed == 0) {
        item.regionId = static_cast<unsigned char>(1 + sent % 14);
        item.data = Numbered(sent);
        failed += client.SetRegionData(item) != 0;
        ++sent;
        if (sent % 50 == 0) {
            failed += !GetsBack(ipc, sent);
        }
        if (!received.WaitFor(sent, mostOutstanding)) {
            break;
        }
    }
    EXPECT_EQ(failed, 0u);
    EXPECT_TRUE(received.WaitFor(sent, 0));
    isOver = true;
    receiver.join();
    EXPECT_EQ(sent, rounds);
    EXPECT_EQ(received.Count(), rounds);
    EXPECT_TRUE(received.IsInOrder());
}
