#pragma once

#include "platform/src/wire_format.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/wait_limits.h"

#include <IpcMessage.h>
#include <LinxIpc.h>
#include <LogClient.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>
#include <SubtitleClient.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

/// One endpoint and its service. The test decides what the service sends.
class ServedEndpoint : public testing::Test {
protected:
    static constexpr unsigned int hd = 2;
    static constexpr unsigned int bitmap = messages::regionDataItem;
    static constexpr unsigned int visibility = messages::regionVisItem;
    using Clock = std::chrono::steady_clock;
    using Numbers = std::vector<unsigned int>;

    ServedEndpoint()
    {
        setenv("LINX_DIR", folder.Path().c_str(), 1);
        setenv("SUBTITLE_LOG", (folder / "log").c_str(), 1);
        LogClient::Instance().Level(63);
        EXPECT_EQ(ipc->Init(), 0);
    }
    ~ServedEndpoint() override
    {
        ipc.reset();
        unsetenv("LINX_DIR");
        unsetenv("SUBTITLE_LOG");
    }

    // Calls of the endpoint

    int Ping(int waitMs = eventDeadlineMs)
    {
        IpcMessage request;
        EXPECT_EQ(request.Allocate(messages::ping, 0, nullptr), 0);
        return ipc->Request("SubtitleMgr", request, messages::ping + 1, waitMs, nullptr);
    }

    int Notify(unsigned int size = 0, bool mayWait = true)
    {
        IpcMessage message;
        EXPECT_EQ(message.Allocate(messages::quit, size, nullptr), 0);
        return ipc->Notify("SubtitleMgr", message, mayWait);
    }

    int Send(std::size_t bytesOfBitmap, int limitMs = eventDeadlineMs)
    {
        RegionDataItem item;
        item.data.assign(bytesOfBitmap, 3);
        return SubtitleClient(*ipc, limitMs).SetRegionData(item);
    }

    int Subscribe(void (*callback)(LinxIpc*, void*), void* userData, unsigned int item = bitmap,
                  int limitMs = eventDeadlineMs)
    {
        RegionVisItem unused;
        return SubtitleClient(*ipc, limitMs).Subscribe(hd, item, unused, callback, userData);
    }
    int Subscribe() { return Subscribe(NoteRegion, &regions); }

    int Receive(int waitMs = eventDeadlineMs, unsigned int id = 0)
    {
        return ipc->Receive(waitMs, id, LinxIpc::emptyString, nullptr);
    }

    // Calls on another thread

    template <typename Call>
    static auto Beside(Call call)
    {
        return std::async(std::launch::async, std::move(call));
    }

    std::future<int> PingBeside(int waitMs = eventDeadlineMs)
    {
        return Beside([=] { return Ping(waitMs); });
    }

    /// Starts a Receive(), which waits when this function returns.
    std::future<int> ReceiveBeside(int waitMs = eventDeadlineMs)
    {
        auto result = Beside([=] {
            int received;
            do {  // a second Receive() returns EBUSY while the first one waits
                received = Receive(waitMs);
            } while (received == EBUSY);
            return received;
        });
        Await([this] { return Receive(0) == EBUSY; });
        return result;
    }

    // Actions of the service

    void Answer(unsigned int messageId = messages::ping, const std::string& payload = "")
    {
        peer->Reply(peer->ExpectRequest(messageId), payload);
    }

    /// Answers each request until the endpoint closes its connection.
    std::future<void> AnswerAll()
    {
        return Beside([this] {
            try {
                for (;;) {
                    const RawFrame frame = peer->ReceiveFrame();
                    if (frame.header.kind == FrameKind::Request) {
                        peer->Reply(frame);
                    }
                }
            } catch (const std::runtime_error&) {  // the endpoint closed the connection
            }
        });
    }

    /// A bitmap of \p region with one pixel.
    static std::string Bitmap(unsigned int region)
    {
        return FrameBytes(FrameKind::Notification, bitmap, hd, Bytes({region, 0, 0, 0, 0, 1, 0}));
    }
    static std::string Bitmaps(unsigned int count)
    {
        std::string frames;
        for (unsigned int i = 0; i < count; ++i) {
            frames += Bitmap(i % 251);
        }
        return frames;
    }
    static std::string Visibility(unsigned int number)
    {
        return FrameBytes(FrameKind::Notification, visibility, number, Bytes({1, 1}));
    }

    void EndService()
    {
        service.reset();
        peer.reset();
    }
    void RestartService()
    {
        EndService();
        service = std::make_unique<RawService>(folder / "SubtitleMgr");
    }
    void AcceptClient() { peer = service->Accept(); }

    // Actions of both sides

    /// Pings on another thread, answered by the service, during \p action.
    template <typename Action>
    void PingDuring(Action action)
    {
        auto served = AnswerAll();
        std::atomic<bool> isOver{false};
        auto failures = Beside([&] {
            int failed = 0;
            while (!isOver) {
                failed += Ping() != 0;
            }
            return failed;
        });
        action();
        isOver = true;
        EXPECT_EQ(failures.get(), 0);
        EXPECT_EQ(Ping(), 0);
        ipc.reset();
        served.get();
    }

    void ExpectPing(bool isFirst = false)
    {
        auto ping = PingBeside();
        if (isFirst) {
            AcceptClient();
        }
        Answer();
        ASSERT_EQ(ping.get(), 0);
    }

    /// Connects. Afterwards `peer` is the connection.
    void Connect() { ExpectPing(/*isFirst*/ true); }

    /// Connects and subscribes with this callback.
    void ConnectAndSubscribe(void (*callback)(LinxIpc*, void*), void* userData)
    {
        auto subscribed = Beside([=] { return Subscribe(callback, userData); });
        AcceptClient();
        EXPECT_EQ(peer->AcceptSubscription(), hd);
        ASSERT_EQ(subscribed.get(), 0);
    }
    void ConnectAndSubscribe() { ConnectAndSubscribe(NoteRegion, &regions); }

    /// Receives the bitmaps \p first to \p end - 1 of Bitmaps().
    void ExpectBitmaps(unsigned int first, unsigned int end)
    {
        for (unsigned int i = first; i < end; ++i) {
            ASSERT_EQ(Receive(), 0) << i;
            ASSERT_EQ(regions.back(), i % 251);
        }
    }

    /// Expects that the endpoint has received everything that the service sent.
    void ExpectNothingMore()
    {
        ExpectPing();
        EXPECT_EQ(Receive(0), ETIMEDOUT);
    }

    static void NoteRegion(LinxIpc* from, void* regions)
    {
        static_cast<Numbers*>(regions)->push_back(from->ReceivedMessage().Payload()[0]);
    }
    static void Count(LinxIpc*, void* counter) { ++*static_cast<unsigned int*>(counter); }

    /// Fails the test when \p condition does not become true in time.
    template <typename Condition>
    static void Await(const Condition& condition)
    {
        const auto limit = Clock::now() + std::chrono::milliseconds(eventDeadlineMs);
        while (!condition()) {
            ASSERT_LT(Clock::now(), limit);
            std::this_thread::yield();
        }
    }

    void ExpectLogged(const std::string& text) const
    {
        const std::string log = ReadWholeFile(folder / "log");
        EXPECT_NE(log.find(text), std::string::npos) << log.substr(0, 400);
    }

    const TempDir folder;
    std::unique_ptr<RawService> service = std::make_unique<RawService>(folder / "SubtitleMgr");
    std::unique_ptr<RawConnection> peer;
    std::unique_ptr<LinxIpc> ipc = std::make_unique<LinxIpc>("TheEndpoint");
    Numbers regions;  ///< of the bitmaps received
};
