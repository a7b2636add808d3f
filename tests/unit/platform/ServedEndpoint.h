#pragma once

#include "platform/src/wire_format.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/wait_limits.h"

#include <IpcMessage.h>
#include <LinxIpc.h>
#include <RegionVisItem.h>
#include <SubtitleClient.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

/// One endpoint and the service that it talks to, which sends what the test wants.
class ServedEndpoint : public testing::Test {
protected:
    static constexpr unsigned int cif = 4;
    using Clock = std::chrono::steady_clock;

    ServedEndpoint()
    {
        setenv("LINX_DIR", folder.Path().c_str(), 1);
        setenv("SUBTITLE_LOG", (folder / "log").c_str(), 1);
        EXPECT_EQ(ipc->Init(), 0);
    }
    ~ServedEndpoint() override
    {
        ipc.reset();
        unsetenv("LINX_DIR");
        unsetenv("SUBTITLE_LOG");
    }

    int Ping(int waitMs = eventDeadlineMs)
    {
        IpcMessage request;
        EXPECT_EQ(request.Allocate(messages::ping, 0, nullptr), 0);
        return ipc->Request("SubtitleMgr", request, messages::ping + 1, waitMs, nullptr);
    }

    /// Has a connection when this returns, in `peer`.
    void Connect()
    {
        auto served = std::async(std::launch::async, [this] {
            peer = service.Accept();
            peer->Reply(peer->ExpectRequest(messages::ping));
        });
        ASSERT_EQ(Ping(), 0);
        served.get();
    }

    /// Answers each request until the endpoint closes its connection.
    std::future<void> AnswerAll()
    {
        return std::async(std::launch::async, [this] {
            try {
                for (;;) {
                    const RawFrame frame = peer->ReceiveFrame();
                    if (frame.header.kind == FrameKind::Request) {
                        peer->Reply(frame);
                    }
                }
            } catch (const std::runtime_error&) {  // closed
            }
        });
    }

    int Subscribe(unsigned int item, unsigned int& count, int limitMs = eventDeadlineMs)
    {
        RegionVisItem unused;
        return SubtitleClient(*ipc, limitMs).Subscribe(cif, item, unused, Count, &count);
    }

    std::future<int> SubscribeBeside(unsigned int item, unsigned int& count,
                                     int limitMs = eventDeadlineMs)
    {
        return std::async(std::launch::async,
                          [=, &count] { return Subscribe(item, count, limitMs); });
    }

    static void Count(LinxIpc*, void* counter) { ++*static_cast<unsigned int*>(counter); }

    void Publish(unsigned int item)
    {
        const std::string record =
            item == messages::regionVisItem ? Bytes({1, 1}) : Bytes({1, 2, 0, 0, 0, 0});
        peer->SendFrame(FrameKind::Notification, item, cif, record);
    }

    int Receive(int waitMs = eventDeadlineMs)
    {
        return ipc->Receive(waitMs, 0, LinxIpc::emptyString, nullptr);
    }

    /// A Receive() on another thread, which is waiting when this returns.
    std::future<int> ReceiveBeside()
    {
        auto result = std::async(std::launch::async, [this] {
            int received;
            do {  // only one of the two may be inside
                received = Receive();
            } while (received == EBUSY);
            return received;
        });
        Await([this] { return Receive(0) == EBUSY; });
        return result;
    }

    /// Fails the test when \p condition does not come true in time.
    template <typename Condition>
    static void Await(const Condition& condition)
    {
        const auto limit = Clock::now() + std::chrono::milliseconds(eventDeadlineMs);
        while (!condition()) {
            ASSERT_LT(Clock::now(), limit);
            std::this_thread::yield();
        }
    }

    TempDir folder;
    RawService service{folder / "SubtitleMgr"};
    std::unique_ptr<RawConnection> peer;
    std::unique_ptr<LinxIpc> ipc = std::make_unique<LinxIpc>("TheEndpoint");
};
