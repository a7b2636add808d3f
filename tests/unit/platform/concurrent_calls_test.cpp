// Calls that meet other calls while they send or wait for their reply.

#include "tests/unit/platform/ServedEndpoint.h"

#include <algorithm>
#include <atomic>
#include <string>

namespace {

class ConcurrentNotify : public ServedEndpoint {
protected:
    int Notify()
    {
        IpcMessage message;
        EXPECT_EQ(message.Allocate(messages::quit, 0, nullptr), 0);
        return ipc->Notify("SubtitleMgr", message, /*flag*/ false);
    }
};

/// Few enough are under way that the socket always has room.
TEST_F(ConcurrentNotify, SendsWithoutWaitingBesideAnotherSender)
{
    Connect();
    constexpr int calls = 20000;
    constexpr int callsAtATime = 100;
    std::atomic<bool> isOver{false};
    auto served = AnswerAll();
    auto sender = std::async(std::launch::async, [&] {
        int failures = 0;
        while (!isOver) {
            failures += Ping() != 0;
        }
        return failures;
    });
    int failures = 0;
    for (int call = 1; call <= calls; ++call) {
        failures += Notify() != 0;
        if (call % callsAtATime == 0) {
            EXPECT_EQ(Ping(), 0);  // the service has taken them all
        }
    }
    isOver = true;
    EXPECT_EQ(sender.get(), 0);
    EXPECT_EQ(failures, 0) << "of " << calls;
    ipc.reset();
    served.get();
}

/// It would have to wait for what the other one waits for.
TEST_F(ConcurrentNotify, FailsAtOnceWhileAnotherSenderWaitsForRoom)
{
    Connect();
    auto large = std::async(std::launch::async, [this] {
        IpcMessage message;
        EXPECT_EQ(message.Allocate(messages::quit, IpcMessage::maxLength, nullptr), 0);
        return ipc->Notify("SubtitleMgr", message, /*flag*/ true);
    });
    Await([this] { return Notify() == EAGAIN; });
    EXPECT_EQ(peer->ReceiveFrame().header.messageId, messages::quit);
    while (large.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        peer->ReceiveFrame();
    }
    EXPECT_EQ(large.get(), 0);
}

using ConcurrentRequest = ServedEndpoint;

TEST_F(ConcurrentRequest, TakesItsReplyIntoTheRequest)
{
    Connect();
    auto served = std::async(std::launch::async, [this] {
        const RawFrame request = peer->ReceiveFrame();
        EXPECT_EQ(request.payload, "question");
        peer->Reply(request, "an answer that is longer");
        peer->Reply(peer->ReceiveFrame(), "no");
    });
    IpcMessage message;
    char question[] = "question";
    for (const std::string answer : {"an answer that is longer", "no"}) {
        ASSERT_EQ(message.Allocate(0x4000, 8, question), 0);
        ASSERT_EQ(ipc->Request("SubtitleMgr", message, 0x4001, eventDeadlineMs, &message), 0);
        EXPECT_EQ(std::string(message.Payload(), message.Payload() + answer.size()), answer);
    }
    served.get();
}

/// The endpoint reads while it cannot send, so the reply may come amid the request.
TEST_F(ConcurrentRequest, IsSentAsItWasThoughItsReplyComesBeforeItsEnd)
{
    Connect();
    constexpr std::size_t size = 8 * 1024 * 1024;
    IpcMessage message;
    ASSERT_EQ(message.Allocate(0x4000, size, nullptr), 0);
    std::fill_n(message.Payload(), size, static_cast<unsigned char>('q'));
    auto result = std::async(std::launch::async, [&] {
        return ipc->Request("SubtitleMgr", message, 0x4001, eventDeadlineMs, &message);
    });
    const std::string answer(1024 * 1024, 'a');
    const FrameHeader asked = peer->ReceiveHeader();
    peer->SendFrame(FrameKind::Reply, 0x4001, asked.correlation, answer);
    const RawFrame request = peer->ReceiveFrame();
    EXPECT_EQ(request.payload.size(), size);
    EXPECT_EQ(request.payload.find_first_not_of('q'), std::string::npos);
    ASSERT_EQ(result.get(), 0);
    EXPECT_EQ(std::string(message.Payload(), message.Payload() + answer.size()), answer);
}

}  // namespace
