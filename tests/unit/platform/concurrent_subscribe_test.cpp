// Subscriptions whose calls meet: with each other, with a loss, and with calls that reconnect.

#include "tests/unit/platform/ServedEndpoint.h"

#include <atomic>
#include <sched.h>
#include <vector>

namespace {

constexpr unsigned int bitmap = messages::regionDataItem;
constexpr unsigned int visibility = messages::regionVisItem;
const std::string accepted = U32(0);

class ConcurrentSubscribe : public ServedEndpoint {};

/// Leaves the process one processor, which other threads keep busy.
class BusyProcessor {
public:
    BusyProcessor()
    {
        sched_getaffinity(0, sizeof before, &before);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<std::size_t>(sched_getcpu()), &one);
        sched_setaffinity(0, sizeof one, &one);
        for (int i = 0; i < 2; ++i) {
            spinners.emplace_back([this] {
                while (!isOver) {
                }
            });
        }
    }
    ~BusyProcessor()
    {
        isOver = true;
        for (std::thread& spinner : spinners) {
            spinner.join();
        }
        sched_setaffinity(0, sizeof before, &before);
    }
    BusyProcessor(const BusyProcessor&) = delete;
    BusyProcessor& operator=(const BusyProcessor&) = delete;

private:
    cpu_set_t before{};
    std::atomic<bool> isOver{false};
    std::vector<std::thread> spinners;
};

TEST_F(ConcurrentSubscribe, IsNeverSilentWhenTheServiceHangsUpAtOnce)
{
    constexpr int rounds = 40;
    const BusyProcessor busy;
    int silent = 0;
    for (int round = 0; round < rounds; ++round) {
        ipc = std::make_unique<LinxIpc>("TheEndpoint");
        ASSERT_EQ(ipc->Init(), 0);
        Connect();
        // Reads for the subscribing call, and reconnects.
        auto other = std::async(std::launch::async, [this] {
            int error;
            while ((error = Ping()) == ECONNRESET) {
            }
            return error;
        });
        peer->ExpectRequest(messages::ping);
        unsigned int count = 0;
        auto subscribed = SubscribeBeside(bitmap, count);
        peer->AcceptSubscription();
        peer->Close();
        peer = service.Accept();
        const RawFrame next = peer->ReceiveFrame();
        const bool isRenewal = next.header.messageId == messages::subscribe;
        peer->Reply(next, isRenewal ? accepted : "");
        if (isRenewal) {
            peer->Reply(peer->ExpectRequest(messages::ping));
        }
        EXPECT_EQ(other.get(), 0);
        silent += subscribed.get() == 0 && !isRenewal ? 1 : 0;
    }
    EXPECT_EQ(silent, 0) << "of " << rounds;
}

/// What one call left in the queue is not another's to take out.
TEST_F(ConcurrentSubscribe, KeepsWhatCameForTheOtherItemOfItsNumber)
{
    Connect();
    unsigned int visibilities = 0;
    unsigned int bitmaps = 0;
    auto first = SubscribeBeside(visibility, visibilities);
    const RawFrame firstRequest = peer->ExpectRequest(messages::subscribe);
    Publish(visibility);
    auto ping = std::async(std::launch::async, [this] { return Ping(); });
    peer->Reply(peer->ExpectRequest(messages::ping));
    ASSERT_EQ(ping.get(), 0);  // so the notification before it is queued
    auto second = SubscribeBeside(bitmap, bitmaps);
    const RawFrame secondRequest = peer->ExpectRequest(messages::subscribe);
    EXPECT_EQ(Receive(), 0);
    EXPECT_EQ(visibilities, 1u);
    peer->Reply(secondRequest, accepted);
    EXPECT_EQ(second.get(), 0);
    peer->Reply(firstRequest, accepted);
    EXPECT_EQ(first.get(), 0);
}

TEST_F(ConcurrentSubscribe, IsNotUndoneByTheTimeOutOfAnotherCall)
{
    Connect();
    unsigned int count = 0;
    unsigned int lost = 0;
    auto patient = SubscribeBeside(bitmap, count);
    const RawFrame request = peer->ExpectRequest(messages::subscribe);
    EXPECT_EQ(Subscribe(bitmap, lost, /*limitMs*/ 20), ETIMEDOUT);
    peer->Reply(request, accepted);
    EXPECT_EQ(patient.get(), 0);
    Publish(bitmap);
    EXPECT_EQ(Receive(), 0);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(lost, 0u);
}

/// Whichever of the two the service got last is in force; a call never succeeds and stays silent.
TEST_F(ConcurrentSubscribe, OutlastsAnUnsubscribeThatTheServiceGotBefore)
{
    Connect();
    unsigned int count = 0;
    auto subscribed = SubscribeBeside(bitmap, count);
    const RawFrame wanted = peer->ExpectRequest(messages::subscribe);
    auto unsubscribed = std::async(std::launch::async, [this] {
        return SubtitleClient(*ipc, eventDeadlineMs).Unsubscribe(cif);
    });
    const RawFrame unwanted = peer->ExpectRequest(messages::unsubscribe);
    peer->Reply(unwanted, accepted);
    EXPECT_EQ(unsubscribed.get(), 0);
    peer->Reply(wanted, accepted);
    EXPECT_EQ(subscribed.get(), 0);
    Publish(bitmap);
    EXPECT_EQ(Receive(), 0);
    EXPECT_EQ(count, 1u);
}

TEST_F(ConcurrentSubscribe, EndsWithAnUnsubscribeThatTheServiceGotAfter)
{
    Connect();
    unsigned int count = 0;
    auto subscribed = SubscribeBeside(bitmap, count);
    const RawFrame wanted = peer->ExpectRequest(messages::subscribe);
    auto unsubscribed = std::async(std::launch::async, [this] {
        return SubtitleClient(*ipc, eventDeadlineMs).Unsubscribe(cif);
    });
    const RawFrame unwanted = peer->ExpectRequest(messages::unsubscribe);
    peer->Reply(wanted, accepted);
    EXPECT_EQ(subscribed.get(), 0);
    peer->Reply(unwanted, accepted);
    EXPECT_EQ(unsubscribed.get(), 0);
    peer->Close();
    auto served = std::async(std::launch::async, [this] {
        peer = service.Accept();
        peer->Reply(peer->ExpectRequest(messages::ping));  // and no renewal before it
    });
    while (Ping() == ECONNRESET) {
    }
    served.get();
}

}  // namespace
