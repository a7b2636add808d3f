// Calls of one endpoint on several threads, which have to share its one connection, and calls that
// come when it has been closed.

#include <IpcMessage.h>
#include <LinxIpc.h>
#include <LinxServerNameList.h>
#include <RegionDataItem.h>
#include <SubtitleClient.h>

#include "platform/src/endpoint.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/wait_limits.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>

using namespace platform;

namespace {

constexpr unsigned int hd = 2;

using Clock = std::chrono::steady_clock;

/// A listening socket that accepts no client unless a test does so.
Descriptor ListenSilently(const std::string& path)
{
    Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    EXPECT_LT(path.size(), sizeof address.sun_path);
    path.copy(address.sun_path, path.size());
    EXPECT_EQ(bind(listener.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(listener.Get(), 0), 0);
    return listener;
}

class CallsAtOnce : public testing::Test {
protected:
    CallsAtOnce() : path(folder / "SubtitleMgr")
    {
        setenv("LINX_DIR", folder.Path().c_str(), 1);
        EXPECT_EQ(ipc->Init(), 0);
    }
    ~CallsAtOnce() override
    {
        ipc.reset();
        unsetenv("LINX_DIR");
    }

    int Ping(int waitMs)
    {
        IpcMessage request;
        EXPECT_EQ(request.Allocate(messages::ping, 0, nullptr), 0);
        return ipc->Request("SubtitleMgr", request, messages::ping + 1, waitMs, nullptr);
    }

    std::future<int> PingBeside(int waitMs)
    {
        return std::async(std::launch::async, [this, waitMs] { return Ping(waitMs); });
    }

    int Receive(int waitMs) { return ipc->Receive(waitMs, 0, LinxIpc::emptyString, nullptr); }

    /// A Receive() on another thread, which is waiting when this returns.
    std::future<int> ReceiveBeside(int waitMs)
    {
        auto result = std::async(std::launch::async, [this, waitMs] {
            int received;
            do {  // only one of the two may be inside
                received = Receive(waitMs);
            } while (received == EBUSY);
            return received;
        });
        const auto limit = Clock::now() + std::chrono::seconds(10);
        while (Receive(0) != EBUSY && Clock::now() < limit) {
            std::this_thread::yield();
        }
        return result;
    }

    static void Count(LinxIpc*, void* counter) { ++*static_cast<unsigned int*>(counter); }

    TempDir folder;
    std::string path;
    std::unique_ptr<LinxIpc> ipc = std::make_unique<LinxIpc>("Calls");
};

TEST_F(CallsAtOnce, MakeOneConnection)
{
    RawService service(path);
    auto served = std::async(std::launch::async, [&] {
        const auto connection = service.Accept();
        for (int i = 0; i < 40; ++i) {
            connection->Reply(connection->ExpectRequest(messages::ping));
        }
        EXPECT_FALSE(service.HasClient());
    });
    std::vector<std::future<int>> pings;
    for (int i = 0; i < 40; ++i) {
        pings.push_back(PingBeside(10000));
    }
    for (auto& ping : pings) {
        EXPECT_EQ(ping.get(), 0);
    }
    served.get();
}

/// One client that waits to be accepted fills the queue of the listening socket.
void FillQueue(LinxIpc& other)
{
    ASSERT_EQ(other.Init(), 0);
    IpcMessage request;
    ASSERT_EQ(request.Allocate(messages::ping, 0, nullptr), 0);
    ASSERT_EQ(other.Request("SubtitleMgr", request, messages::ping + 1, 0, nullptr), ETIMEDOUT);
}

TEST_F(CallsAtOnce, EachWaitTheirOwnTimeForAServiceThatTakesNobody)
{
    const Descriptor listener = ListenSilently(path);
    LinxIpc other("Other");
    FillQueue(other);
    auto patient = PingBeside(400);
    const auto start = Clock::now();
    EXPECT_EQ(Ping(50), ETIMEDOUT);
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(400));
    EXPECT_EQ(patient.get(), ETIMEDOUT);
}

/// A service that is stopped would otherwise hold a ping until it goes on.
TEST_F(CallsAtOnce, WaitASecondAtMostToBeTakenAlsoWithoutLimit)
{
    const Descriptor listener = ListenSilently(path);
    LinxIpc other("Other");
    FillQueue(other);
    const auto start = Clock::now();
    EXPECT_EQ(Ping(-1), ETIMEDOUT);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(1000));
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(eventDeadlineMs));
}

/// Its bytes would stand amid those of the frame that is half sent.
TEST_F(CallsAtOnce, SendNothingWhileAnotherIsStillSending)
{
    const Descriptor listener = ListenSilently(path);
    auto large = std::async(std::launch::async, [this] {
        IpcMessage message;
        EXPECT_EQ(message.Allocate(messages::quit, 16u * 1024 * 1024, nullptr), 0);
        return ipc->Notify("SubtitleMgr", message, true);
    });
    Descriptor connection(accept4(listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    std::string header(frameHeaderSize, '\0');
    ASSERT_EQ(recv(connection.Get(), header.data(), header.size(), MSG_WAITALL),
              static_cast<ssize_t>(header.size()));
    EXPECT_EQ(Ping(50), ETIMEDOUT);
    // The rest of the large one is all that comes.
    std::string rest(16u * 1024 * 1024, 'x');
    ASSERT_EQ(recv(connection.Get(), rest.data(), rest.size(), MSG_WAITALL),
              static_cast<ssize_t>(rest.size()));
    EXPECT_EQ(large.get(), 0);
    char more;
    EXPECT_EQ(recv(connection.Get(), &more, 1, MSG_DONTWAIT), -1);
}

TEST_F(CallsAtOnce, SendALargeRecordWhileAnotherReads)
{
    RawService service(path);
    unsigned int count = 0;
    auto served = std::async(std::launch::async, [&] {
        const auto connection = service.Accept();
        connection->AcceptSubscription();
        const RawFrame request = connection->ExpectRequest(messages::setRegionData);
        EXPECT_EQ(request.payload.size(), 6u + 8 * 1024 * 1024);
        connection->Reply(request, U32(0));
        connection->SendFrame(FrameKind::Notification, messages::regionDataItem, hd,
                              Bytes({1, 0}) + U32(0));
        connection->ExpectClosed();
    });
    SubtitleClient client(*ipc, 10000);
    RegionDataItem item;
    ASSERT_EQ(client.Subscribe(hd, messages::regionDataItem, item, Count, &count), 0);
    auto received = ReceiveBeside(10000);
    item.data.assign(8 * 1024 * 1024, 3);
    EXPECT_EQ(client.SetRegionData(item), 0);
    EXPECT_EQ(received.get(), 0);
    EXPECT_EQ(count, 1u);
    ipc.reset();
    served.get();
}

TEST_F(CallsAtOnce, GetTheirReplyWithoutLimitFromWhoeverReads)
{
    RawService service(path);
    unsigned int count = 0;
    auto served = std::async(std::launch::async, [&] {
        const auto connection = service.Accept();
        connection->AcceptSubscription();
        for (int i = 0; i < 20; ++i) {
            connection->Reply(connection->ExpectRequest(messages::ping));
        }
        connection->SendFrame(FrameKind::Notification, messages::regionDataItem, hd,
                              Bytes({1, 0}) + U32(0));
        connection->ExpectClosed();
    });
    SubtitleClient client(*ipc, 10000);
    RegionDataItem item;
    ASSERT_EQ(client.Subscribe(hd, messages::regionDataItem, item, Count, &count), 0);
    auto received = ReceiveBeside(-1);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(Ping(-1), 0);
    }
    EXPECT_EQ(received.get(), 0);
    EXPECT_EQ(count, 1u);
    ipc.reset();
    served.get();
}

TEST_F(CallsAtOnce, LeaveTheReadingToTheOneThatAwaitsItsReply)
{
    RawService service(path);
    std::promise<void> asked;
    std::promise<void> mayAnswer;
    std::promise<void> wasAnswered;
    auto served = std::async(std::launch::async, [&] {
        const auto connection = service.Accept();
        connection->AcceptSubscription();
        const RawFrame request = connection->ExpectRequest(messages::ping);
        asked.set_value();
        mayAnswer.get_future().wait();
        connection->Reply(request);
        wasAnswered.get_future().wait();
        connection->SendFrame(FrameKind::Notification, messages::regionDataItem, hd,
                              Bytes({1, 0}) + U32(0));
    });
    unsigned int count = 0;
    SubtitleClient client(*ipc, 10000);
    RegionDataItem item;
    ASSERT_EQ(client.Subscribe(hd, messages::regionDataItem, item, Count, &count), 0);
    auto answer = PingBeside(10000);
    asked.get_future().wait();
    auto received = ReceiveBeside(10000);
    mayAnswer.set_value();
    EXPECT_EQ(answer.get(), 0);
    wasAnswered.set_value();
    EXPECT_EQ(received.get(), 0);
    EXPECT_EQ(count, 1u);
    served.get();
}

TEST_F(CallsAtOnce, EndWithTheEndpointWhenThereIsNobodyToReadFrom)
{
    auto received = ReceiveBeside(-1);
    ipc.reset();
    EXPECT_EQ(received.get(), ESHUTDOWN);
}

/// A service that closes each connection before it reads would be asked for ever.
TEST_F(CallsAtOnce, GiveARequestUpThatTwoConnectionsDidNotTake)
{
    RawService service(path);
    auto served = std::async(std::launch::async, [&] {
        for (int i = 0; i < 2; ++i) {
            service.Accept();  // and let go of at once
        }
    });
    SubtitleClient client(*ipc, 10000);
    RegionDataItem item;
    item.data.assign(8 * 1024 * 1024, 3);
    const int error = client.SetRegionData(item);
    EXPECT_TRUE(error == EPIPE || error == ECONNRESET) << error;
    served.get();
    EXPECT_FALSE(service.HasClient());
}

TEST(AClosedEndpoint, SendsNothing)
{
    const TempDir folder;
    setenv("LINX_DIR", folder.Path().c_str(), 1);
    const RawService service(folder / "SubtitleMgr");
    LinxIpc owner("Owner");
    Endpoint& endpoint = Endpoint::Create("Closed", owner);
    ASSERT_EQ(endpoint.Init(), 0);
    endpoint.Close();
    IpcMessage message;
    ASSERT_EQ(message.Allocate(messages::ping, 0, nullptr), 0);
    EXPECT_EQ(endpoint.Request("SubtitleMgr", message, messages::ping + 1, 1000, nullptr),
              ESHUTDOWN);
    EXPECT_EQ(endpoint.Notify("SubtitleMgr", message, true), ESHUTDOWN);
    EXPECT_FALSE(service.HasClient());
    unsetenv("LINX_DIR");
}

/// At the end of the process that thread would otherwise run on through what is being destroyed.
TEST(AClosedEndpoint, LetsAReceiveWithoutLimitSleepToTheEndOfTheProcess)
{
    static LinxIpc owner("Owner");
    static Endpoint& endpoint = Endpoint::Create("Closed", owner);
    endpoint.Close();
    auto& returned = *new std::promise<void>;
    auto hasReturned = returned.get_future();
    std::thread([&returned] {
        endpoint.Receive(-1, 0, LinxIpc::emptyString, nullptr);
        returned.set_value();
    }).detach();
    EXPECT_EQ(hasReturned.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
}

TEST(TheListOfNames, KnowsTheSubtitleServiceAlone)
{
    const LinxServerNameList& list = LinxServerNameList::Instance();
    EXPECT_EQ(list.Name(static_cast<e_Process>(5)), "SubtitleMgr");
    EXPECT_EQ(list.Name(static_cast<e_Process>(4)), "");
}

}  // namespace
