// One thread waits in Receive(), another one makes requests without pause. The simulated service is
// a process of its own. No reply and no notification may be lost, swapped or late.

#include "platform/src/big_endian.h"
#include "platform/src/deadline.h"
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
#include <cstdlib>
#include <thread>

using namespace platform;

namespace {

constexpr unsigned int rounds = isEmulated ? 10000 : 30000;
constexpr unsigned int mostOutstanding = 100;

std::vector<unsigned char> Numbered(unsigned int number)
{
    return {static_cast<unsigned char>(number), static_cast<unsigned char>(number >> 8),
            static_cast<unsigned char>(number >> 16)};
}

/// The notifications of the receiving thread.
struct Received {
    const std::thread::id receiver;
    std::atomic<unsigned int> count{0};
    std::atomic<bool> isInOrder{true};

    /// Waits until at most \p outstanding of \p sent notifications are missing.
    /// \return whether the others arrived in time
    bool WaitFor(unsigned int sent, unsigned int outstanding) const
    {
        const Deadline deadline(eventDeadlineMs);
        while (sent - count > outstanding && !deadline.HasPassed()) {
            std::this_thread::yield();
        }
        return sent - count <= outstanding;
    }
};

/// Sets the service's log level and reads it. A reply of another request has another level.
bool GetsBack(LinxIpc& ipc, unsigned int level)
{
    const std::string service = "SubtitleMgr";
    IpcMessage message;
    message.Allocate(messages::setLogLevel, 4, nullptr);
    PutU32(message.Payload(), level);
    const bool isSet = ipc.Request(service, message, messages::ReplyTo(messages::setLogLevel),
                                   eventDeadlineMs, nullptr) == 0;
    message.Allocate(messages::getLogLevel, 0, nullptr);
    return isSet &&
           ipc.Request(service, message, messages::ReplyTo(messages::getLogLevel), eventDeadlineMs,
                       &message) == 0 &&
           GetU32(message.Payload() + 4) == level;
}

void NoteBitmap(LinxIpc* ipc, void* data)
{
    Received& received = *static_cast<Received*>(data);
    RegionDataItem item;
    item.Decode(ipc->ReceivedMessage().Payload());
    if (item.data != Numbered(received.count) || item.regionId != 1 + received.count % 14 ||
        std::this_thread::get_id() != received.receiver) {
        received.isInOrder = false;
    }
    ++received.count;
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
    SubtitleClient client(ipc, eventDeadlineMs);
    std::atomic<bool> isOver{false};
    std::thread receiver([&] {
        while (!isOver) {
            ipc.Receive(10, 0, LinxIpc::emptyString, nullptr);
        }
    });
    Received received{receiver.get_id()};
    RegionDataItem item;
    EXPECT_EQ(client.Subscribe(subscriptions::regionDataHd, messages::regionDataItem, item,
                               NoteBitmap, &received),
              0);

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
    EXPECT_EQ(received.count, rounds);
    EXPECT_TRUE(received.isInOrder);
}
