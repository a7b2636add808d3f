// System calls of one part of the programs that fail repeatedly, or with an error that is rare in a
// whole program.

#include "tests/resilience/faults/refused_calls.h"
#include "simulator/clients/acceptor.h"
#include "simulator/clients/peer_table.h"
#include "simulator/listener.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/TempDir.h"

#include "platform/src/messaging_directory.h"
#include "platform/src/sink.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

using namespace platform;
using namespace sim;

namespace {

using Kind = RefusedCall::Kind;

class RefusedCalls : public testing::Test {
protected:
    RefusedCalls() { setenv("LINX_DIR", folder.Path().c_str(), 1); }
    ~RefusedCalls() override { unsetenv("LINX_DIR"); }

    TempDir folder;
    const std::string path = folder / "SubtitleMgr";
};

class InterruptedConnect : public RefusedCalls {
protected:
    /// Connects while EINTR interrupts the first calls. \return the error
    int ConnectAfter(int interruptions, int limitMs)
    {
        const RawService service(path);
        MessagingDirectory directory;
        EXPECT_EQ(directory.Open(), 0);
        Descriptor connected;
        const RefusedCall refused(Kind::Connect, EINTR, interruptions);
        const int error = directory.Connect("SubtitleMgr", Deadline(limitMs), connected);
        EXPECT_EQ(service.HasClient(), error == 0);
        return error;
    }
};

TEST_F(InterruptedConnect, IsTriedAgain) { EXPECT_EQ(ConnectAfter(3, 10000), 0); }
TEST_F(InterruptedConnect, EndsWithItsTime) { EXPECT_EQ(ConnectAfter(-1, 20), ETIMEDOUT); }

struct OpenListener : Listener {
    OpenListener()
    {
        std::string problem;
        EXPECT_TRUE(Open("SubtitleMgr", problem)) << problem;
    }
};

class RefusedAccept : public RefusedCalls {
protected:
    RefusedAccept() { EXPECT_TRUE(poller.Open()); }

    /// Waits until the acceptor tries again. Without a pause it would use a processor.
    static void SitOutPause(Acceptor& waiting)
    {
        EXPECT_GT(waiting.PauseMs(), 0);
        EXPECT_LE(waiting.PauseMs(), 100);
        waiting.Resume(/*clientHasGone*/ false);
        while (waiting.PauseMs() >= 0) {
            poll(nullptr, 0, waiting.PauseMs());
            waiting.Resume(/*clientHasGone*/ false);
        }
    }

    void RefuseAndSitOut(int error)
    {
        const RefusedCall refused(Kind::Accept4, error);
        EXPECT_FALSE(acceptor.Next());
        SitOutPause(acceptor);
    }

    OpenListener listener;
    Poller poller;
    Acceptor acceptor{listener.Fd(), poller};
};

TEST_F(RefusedAccept, PausesTheServiceWithoutMemory)
{
    acceptor.Resume(/*clientHasGone*/ false);
    const RawClient client(path);
    RefuseAndSitOut(ENOMEM);
    RefuseAndSitOut(ENOBUFS);
    EXPECT_TRUE(acceptor.Next());
    EXPECT_EQ(acceptor.PauseMs(), -1);
}

TEST_F(RefusedAccept, IsReportedOnceForAnUnknownError)
{
    acceptor.Resume(/*clientHasGone*/ false);
    const RawClient client(path);
    testing::internal::CaptureStderr();
    for (int i = 0; i < 3; ++i) {
        RefuseAndSitOut(EPERM);
    }
    EXPECT_TRUE(acceptor.Next());
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "SubtitleMgrSim: clients cannot be accepted; the service tries again\n");
}

TEST_F(RefusedAccept, CausesNoPauseForALostClient)
{
    acceptor.Resume(/*clientHasGone*/ false);
    for (const int error : {EAGAIN, EINTR, ECONNABORTED}) {
        const RefusedCall refused(Kind::Accept4, error);
        EXPECT_FALSE(acceptor.Next());
        EXPECT_EQ(acceptor.PauseMs(), -1);
    }
}

using RefusedWatch = RefusedAccept;

TEST_F(RefusedWatch, IsRepeatedForTheSocketOfTheService)
{
    {
        const RefusedCall refused(Kind::EpollCtl, ENOMEM);
        acceptor.Resume(/*clientHasGone*/ false);
    }
    SitOutPause(acceptor);
    const RawClient client(path);
    epoll_event events[Poller::maxEvents];
    ASSERT_EQ(poller.Wait(events, 10000), 1);
    void* const tag = events[0].data.ptr;  // a copy: the structure is packed
    EXPECT_EQ(tag, &acceptor);
}

TEST_F(RefusedWatch, TurnsAClientAway)
{
    FaultList faults;
    PeerTable peers(poller, faults);
    RawClient client(path);
    {
        const RefusedCall refused(Kind::EpollCtl, ENOSPC);
        EXPECT_EQ(peers.Admit(Descriptor(accept4(listener.Fd(), nullptr, nullptr, SOCK_CLOEXEC))),
                  nullptr);
    }
    client.ExpectClosed();
}

class SinkOnABadDisk : public RefusedCalls {
protected:
    void WriteLine()
    {
        sink.Write([&] { return line; });
    }

    const std::string line = "a line of many letters\n";
    const Descriptor file{open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600)};
    Sink sink{nullptr, file.Get()};
};

TEST_F(SinkOnABadDisk, WritesTheRestAfterAnInterruption)
{
    const RefusedCall refused(Kind::Disk, EINTR, 2);
    WriteLine();
    EXPECT_EQ(ReadWholeFile(path), line);
    EXPECT_EQ(sink.Lost(), 0u);
}

TEST_F(SinkOnABadDisk, KeepsALineThatItCannotCutOff)
{
    {
        const RefusedCall refused(Kind::Disk, ENOSPC);
        WriteLine();
        WriteLine();
    }
    EXPECT_EQ(sink.Lost(), 1u);
    sink.Flush();
    EXPECT_EQ(ReadWholeFile(path), line);
}

TEST_F(SinkOnABadDisk, CountsAgainWhatALostCountTold)
{
    Sink counting{[](unsigned lost, const char*) { return "lost " + std::to_string(lost) + "\n"; },
                  file.Get()};
    {
        const RefusedCall refused(Kind::Disk, ENOSPC);
        for (int i = 0; i < 3; ++i) {
            counting.Write([] { return "short\n"; });
        }
    }
    counting.Flush();
    EXPECT_EQ(ReadWholeFile(path), "lost 3\n");
}

}  // namespace
