// System calls that fail below one part of the programs, where a whole program would hardly meet
// it.

#include "tests/resilience/faults/refused_calls.h"
#include "simulator/acceptor.h"
#include "simulator/journal.h"
#include "simulator/listener.h"
#include "simulator/peer_table.h"
#include "simulator/server.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/TempDir.h"

#include "platform/src/messaging_directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

using namespace platform;
using namespace sim;

namespace {

using Kind = RefusedCall::Kind;

class RefusedCalls : public testing::Test {
protected:
    RefusedCalls() { setenv("LINX_DIR", folder.Path().c_str(), 1); }
    ~RefusedCalls() override { unsetenv("LINX_DIR"); }

    /// What stands in the way of a service.
    std::string Problem() const
    {
        std::string problem;
        EXPECT_FALSE(Listener().Open("SubtitleMgr", problem));
        return problem;
    }

    void Listen()
    {
        std::string problem;
        ASSERT_TRUE(listener.Open("SubtitleMgr", problem)) << problem;
    }

    TempDir folder;
    const std::string path = folder / "SubtitleMgr";
    Listener listener;
};

TEST_F(RefusedCalls, ThatAreInterruptedAreMadeAgain)
{
    const RawService service(path);
    MessagingDirectory directory;
    ASSERT_EQ(directory.Open(), 0);
    Descriptor connected;
    const RefusedCall refused(Kind::Connect, EINTR, 3);
    EXPECT_EQ(directory.Connect("SubtitleMgr", Deadline(10000), connected), 0);
    EXPECT_TRUE(service.HasClient());
}

TEST_F(RefusedCalls, ThatAreInterruptedForEverEndWithTheirTime)
{
    const RawService service(path);
    MessagingDirectory directory;
    ASSERT_EQ(directory.Open(), 0);
    Descriptor connected;
    const RefusedCall refused(Kind::Connect, EINTR);
    EXPECT_EQ(directory.Connect("SubtitleMgr", Deadline(20), connected), ETIMEDOUT);
    EXPECT_FALSE(connected);
}

TEST_F(RefusedCalls, LetNoServiceStart)
{
    {
        const RefusedCall refused(Kind::Bind, ENOSPC);
        EXPECT_EQ(Problem(), path + ": no socket can be made there: No space left on device");
    }
    {
        const RefusedCall refused(Kind::Listen, EADDRINUSE);
        EXPECT_EQ(Problem(), path + ": Address already in use");
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST_F(RefusedCalls, LeaveAStaleSocketThatCannotBeRemoved)
{
    {
        // Whoever made it has ended without removing it.
        Descriptor killed(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        ASSERT_EQ(bind(killed.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    {
        const RefusedCall refused(Kind::UnlinkAt, EACCES, 1);
        EXPECT_EQ(Problem(), path + ": the stale socket cannot be removed: Permission denied");
    }
    EXPECT_TRUE(std::filesystem::is_socket(path));
    Listen();
}

TEST_F(RefusedCalls, LetNoServiceRunWithoutItsSignals)
{
    Listen();
    const Scenario nothingToPlay;
    Journal journal;
    Server server(listener.Fd(), Options(), nothingToPlay, journal);
    std::string problem;
    {
        const RefusedCall refused(Kind::SignalFd, EMFILE);
        EXPECT_FALSE(server.Open(problem));
        EXPECT_EQ(problem, "Too many open files");
    }
    {
        const RefusedCall refused(Kind::EpollCtl, ENOSPC);
        EXPECT_FALSE(server.Open(problem));
        EXPECT_EQ(problem, "No space left on device");
    }
    EXPECT_TRUE(server.Open(problem));
}

/// Waits until the acceptor tries again, and does.
void SitOutPause(Acceptor& acceptor)
{
    EXPECT_GT(acceptor.PauseMs(), 0);
    EXPECT_LE(acceptor.PauseMs(), 100);
    acceptor.Resume(/*clientHasGone*/ false);
    while (acceptor.PauseMs() >= 0) {
        poll(nullptr, 0, acceptor.PauseMs());
        acceptor.Resume(/*clientHasGone*/ false);
    }
}

/// Trying at once and again would take a whole processor.
TEST_F(RefusedCalls, MakeAServiceWithoutMemoryForItsSocketsPause)
{
    Listen();
    Poller poller;
    ASSERT_TRUE(poller.Open());
    Acceptor acceptor(listener.Fd(), poller);
    acceptor.Resume(/*clientHasGone*/ false);
    const RawClient client(path);
    for (const int error : {ENOMEM, ENOBUFS}) {
        {
            const RefusedCall refused(Kind::Accept4, error);
            EXPECT_FALSE(acceptor.Next());
        }
        SitOutPause(acceptor);
    }
    EXPECT_TRUE(acceptor.Next());
    EXPECT_EQ(acceptor.PauseMs(), -1);
}

TEST_F(RefusedCalls, OfAnUnforeseenKindMakeAServicePauseAndSaySoOnce)
{
    Listen();
    Poller poller;
    ASSERT_TRUE(poller.Open());
    Acceptor acceptor(listener.Fd(), poller);
    acceptor.Resume(/*clientHasGone*/ false);
    const RawClient client(path);
    testing::internal::CaptureStderr();
    {
        const RefusedCall refused(Kind::Accept4, EPERM);
        for (int i = 0; i < 3; ++i) {
            EXPECT_FALSE(acceptor.Next());
            SitOutPause(acceptor);
        }
    }
    EXPECT_TRUE(acceptor.Next());
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "SubtitleMgrSim: clients cannot be accepted; the service tries again\n");
}

TEST_F(RefusedCalls, OfAClientThatHasGoneMakeNoPause)
{
    Listen();
    Poller poller;
    ASSERT_TRUE(poller.Open());
    Acceptor acceptor(listener.Fd(), poller);
    acceptor.Resume(/*clientHasGone*/ false);
    for (const int error : {EAGAIN, EINTR, ECONNABORTED}) {
        const RefusedCall refused(Kind::Accept4, error);
        EXPECT_FALSE(acceptor.Next());
        EXPECT_EQ(acceptor.PauseMs(), -1);
    }
}

TEST_F(RefusedCalls, MakeAServiceThatCannotWatchItsSocketTryAgain)
{
    Listen();
    Poller poller;
    ASSERT_TRUE(poller.Open());
    Acceptor acceptor(listener.Fd(), poller);
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

TEST_F(RefusedCalls, TurnAClientAwayThatCannotBeWatched)
{
    Listen();
    Poller poller;
    ASSERT_TRUE(poller.Open());
    PeerTable peers(poller, /*publishGarbage*/ false);
    RawClient client(path);
    {
        const RefusedCall refused(Kind::EpollCtl, ENOSPC);
        EXPECT_EQ(peers.Admit(Descriptor(accept4(listener.Fd(), nullptr, nullptr, SOCK_CLOEXEC))),
                  nullptr);
    }
    client.ExpectClosed();
}

}  // namespace
