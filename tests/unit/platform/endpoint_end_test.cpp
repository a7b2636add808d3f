// Callbacks, and the end of an endpoint during calls.

#include "platform/src/endpoint.h"
#include "tests/harness/build_kind.h"
#include "tests/harness/forked.h"
#include "tests/harness/process_facts.h"
#include "tests/unit/platform/ServedEndpoint.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <unistd.h>

namespace {

class Callback : public ServedEndpoint {
protected:
    /// Subscribes with \p callback and sends one notification.
    void ConnectAndPublish(void (*callback)(LinxIpc*, void*), void* userData = nullptr)
    {
        ConnectAndSubscribe(callback, userData);
        peer->Send(Bitmap(1));
    }

    unsigned int calls = 0;
};

struct Failure : std::exception {};

TEST_F(Callback, LeavesTheEndpointUsableWhenItThrows)
{
    ConnectAndPublish(
        [](LinxIpc*, void* counter) {
            if (++*static_cast<unsigned int*>(counter) == 1) {
                throw Failure();
            }
        },
        &calls);
    EXPECT_THROW(Receive(), Failure);
    ExpectNothingMore();
    peer->Send(Bitmap(1));
    EXPECT_EQ(Receive(), 0);
    EXPECT_EQ(calls, 2u);
    ipc.reset();  // does not wait for the first call
}

TEST_F(Callback, MakesReceivePauseWithoutMemory)
{
    ConnectAndPublish([](LinxIpc*, void*) { throw std::bad_alloc(); });
    const auto start = Clock::now();
    EXPECT_EQ(Receive(), ENOMEM);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(10)) << "a loop would be busy";
}

TEST_F(Callback, MayUseTheEndpoint)
{
    struct Handler {
        static void Run(LinxIpc* from, void* results)
        {
            auto& list = *static_cast<std::vector<int>*>(results);
            IpcMessage request;
            list.push_back(request.Allocate(messages::ping, 0, nullptr));
            list.push_back(from->Request("SubtitleMgr", request, messages::ping + 1,
                                         eventDeadlineMs, nullptr));
            list.push_back(from->Notify("SubtitleMgr", request, true));
            list.push_back(from->Receive(10, 0, LinxIpc::emptyString, nullptr));
        }
    };
    std::vector<int> results;
    ConnectAndPublish(Handler::Run, &results);
    auto received = Beside([this] { return Receive(); });
    Answer();
    EXPECT_EQ(peer->ReceiveFrame().header.kind, FrameKind::OneWay);
    EXPECT_EQ(received.get(), 0);
    EXPECT_EQ(results, (std::vector<int>{0, 0, 0, EBUSY}));
}

TEST_F(Callback, MayEndTheProcess)
{
    EXPECT_EQ(StatusOfChild([this] {
                  static LinxIpc mortal("Mortal");  // its destructor runs at exit
                  ipc.reset();
                  ipc.reset(&mortal);
                  mortal.Init();
                  ConnectAndPublish([](LinxIpc*, void*) { std::exit(7); });
                  Receive();
                  return 99;
              }),
              7);
}

using ForkedChild = ServedEndpoint;

TEST_F(ForkedChild, LeavesTheConnectionOfItsParentAtItsEnd)
{
    Connect();
    PingDuring([this] {
        // In some children the endpoint's lock is held by a thread that does not exist there.
        for (int i = 0; i < 50; ++i) {
            EXPECT_EQ(StatusOfChild([this] {
                          ipc.reset();
                          return 5;
                      }),
                      5);
        }
    });
}

using EndOfEndpoint = ServedEndpoint;

/// The destructor waits for a running callback, and no callback runs after it.
TEST_F(EndOfEndpoint, IsABarrierForCallbacks)
{
    struct Handler {
        std::promise<void> isRunning;
        std::promise<void> mayEnd;
        std::atomic<int> ended{0};
        static void Run(LinxIpc*, void* data)
        {
            Handler& self = *static_cast<Handler*>(data);
            self.isRunning.set_value();
            self.mayEnd.get_future().wait();
            ++self.ended;
        }
    } handler;
    ConnectAndSubscribe(Handler::Run, &handler);
    LinxIpc& dying = *ipc.release();
    peer->Send(Bitmaps(10));
    auto received = Beside([&] {
        int result = 0;
        while (result == 0) {
            result = dying.Receive(100, 0, LinxIpc::emptyString, nullptr);
        }
        return result;
    });
    handler.isRunning.get_future().wait();
    auto ended = Beside([&] {
        dying.~LinxIpc();
        return handler.ended.load();
    });
    peer->ExpectClosed();  // shows that the destructor has begun
    EXPECT_EQ(ended.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    handler.mayEnd.set_value();
    EXPECT_EQ(ended.get(), 1);
    EXPECT_EQ(received.get(), ESHUTDOWN);
    EXPECT_EQ(dying.Receive(0, 0, LinxIpc::emptyString, nullptr), ESHUTDOWN);
    EXPECT_EQ(handler.ended, 1);
    operator delete(&dying);  // the console's thread still calls the destroyed object until here
}

TEST_F(EndOfEndpoint, WakesAReceiveWithOrWithoutAConnection)
{
    for (const bool isConnected : {false, true}) {
        ipc = std::make_unique<LinxIpc>("TheEndpoint");
        EXPECT_EQ(ipc->Init(), 0);
        if (isConnected) {
            ConnectAndSubscribe();
        }
        auto received = ReceiveBeside(-1);
        ipc.reset();
        EXPECT_EQ(received.get(), ESHUTDOWN);
    }
}

using ShortLivedEndpoint = ServedEndpoint;

TEST_F(ShortLivedEndpoint, DeliversItsMessage)
{
    constexpr int count = isEmulated || isSanitized ? 100 : 500;
    auto sent = Beside([this] {
        for (int i = 0; i < count; ++i) {
            ipc = std::make_unique<LinxIpc>("Sender");
            EXPECT_EQ(ipc->Init(), 0);
            EXPECT_EQ(Notify(), 0);
        }
    });
    for (int i = 0; i < count; ++i) {
        AcceptClient();
        EXPECT_EQ(peer->ReceiveFrame().header.messageId, messages::quit);
    }
    sent.get();
}

TEST_F(ShortLivedEndpoint, LeavesNoDescriptorOpen)
{
    ipc.reset();
    const int before = CountDescriptors(getpid());
    for (int i = 0; i < 200; ++i) {
        ipc = std::make_unique<LinxIpc>("Short");
        ASSERT_EQ(ipc->Init(), 0);
        Connect();
        ipc.reset();
        peer.reset();
    }
    EXPECT_EQ(CountDescriptors(getpid()), before);
}

using ClosedEndpoint = ServedEndpoint;

/// During the exit of a process the objects that a call uses are being destroyed.
TEST_F(ClosedEndpoint, SendsNothingAndLetsAReceiveSleep)
{
    platform::Endpoint& endpoint = Endpoint::Create("Closed", *ipc);
    EXPECT_EQ(endpoint.Init(), 0);
    endpoint.Close();
    IpcMessage message;
    ASSERT_EQ(message.Allocate(messages::ping, 0, nullptr), 0);
    EXPECT_EQ(endpoint.Request("SubtitleMgr", message, messages::ping + 1, 1000, nullptr),
              ESHUTDOWN);
    EXPECT_EQ(endpoint.Notify("SubtitleMgr", message, true), ESHUTDOWN);
    EXPECT_FALSE(service->HasClient());
    const auto start = Clock::now();
    EXPECT_EQ(endpoint.Receive(30, 0, LinxIpc::emptyString, nullptr), ESHUTDOWN);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(30));
    // Without a limit it sleeps for ever.
    auto& returned = *new std::promise<void>;
    auto hasReturned = returned.get_future();
    std::thread([&returned, &closed = endpoint] {
        closed.Receive(-1, 0, LinxIpc::emptyString, nullptr);
        returned.set_value();
    }).detach();
    EXPECT_EQ(hasReturned.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
}

}  // namespace
