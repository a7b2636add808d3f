#include "simulator/peer_table.h"

#include "tests/harness/frames.h"
#include "tests/harness/wait_limits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>

using namespace platform;
using namespace sim;

namespace {

using std::chrono::milliseconds;

const std::string frameBytes = FrameBytes(FrameKind::Request, messages::ping, 1, "") +
                               FrameBytes(FrameKind::Request, 1, 1, std::string(10000, 'x'));

/// One client of the table.
struct Client {
    Descriptor socket;
    Peer* peer = nullptr;
};

class APeerTable : public testing::Test {
protected:
    APeerTable()
    {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 4096);
        setrlimit(RLIMIT_NOFILE, &limit);
        EXPECT_TRUE(poller.Open());
    }

    Client Connect()
    {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
        return {Descriptor(ends[0]), table.Admit(Descriptor(ends[1]))};
    }

    /// Lets the table have bytes from \p client, of which no frame is made.
    void Send(const Client& client, const std::string& bytes)
    {
        EXPECT_EQ(send(client.socket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
        while (client.peer->Receive() > 0) {
            client.peer->AwaitMore();
        }
        table.Update(*client.peer);
    }

    /// What the table says while time passes, until it drops \p client or has nothing to look at.
    std::string SaidInTime(const Client& client)
    {
        testing::internal::CaptureStderr();
        for (const Deadline deadline(eventDeadlineMs);
             table.NextLookMs() >= 0 && !client.peer->IsClosed() && !deadline.HasPassed();) {
            std::this_thread::sleep_for(milliseconds(table.NextLookMs()));
            table.Look();
        }
        EXPECT_TRUE(client.peer->IsClosed() || table.NextLookMs() < 0);
        return testing::internal::GetCapturedStderr();
    }

    Poller poller;
    const Patience patience{10000, milliseconds(250), milliseconds(250)};
    PeerTable table{poller, /*publishGarbage*/ false, patience};
};

TEST_F(APeerTable, DropsAPeerThatStopsInsideAFrame)
{
    const Client client = Connect();
    const auto start = std::chrono::steady_clock::now();
    Send(client, frameBytes.substr(16, 17));
    EXPECT_EQ(SaidInTime(client), "SubtitleMgrSim: client 1: dropped: it stopped inside a frame\n");
    EXPECT_TRUE(client.peer->IsClosed());
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(250));
}

TEST_F(APeerTable, KeepsAPeerThatIsSilentBetweenFrames)
{
    const Client client = Connect();
    Send(client, frameBytes.substr(0, 15));
    EXPECT_GE(table.NextLookMs(), 0);
    Send(client, frameBytes.substr(15, 1));
    ReceivedFrame frame{};
    const char* problem = nullptr;
    ASSERT_EQ(client.peer->input.Next(frame, problem), InputBlocks::Cut::Frame);
    EXPECT_EQ(SaidInTime(client), "");
    EXPECT_FALSE(client.peer->IsClosed());
}

TEST_F(APeerTable, DropsTheLargestIncompleteFrameBeyondTheirTotal)
{
    const Client small = Connect();
    const Client large = Connect();
    const Client last = Connect();
    Send(small, frameBytes.substr(16, 1000));
    Send(large, frameBytes.substr(16, 5000));
    Send(last, frameBytes.substr(16, 4000));
    EXPECT_FALSE(large.peer->IsClosed());
    testing::internal::CaptureStderr();
    Send(small, "x");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "SubtitleMgrSim: client 2: dropped: the incomplete frames of all clients exceed 64 "
              "MiB\n");
    EXPECT_TRUE(large.peer->IsClosed());
    EXPECT_FALSE(small.peer->IsClosed());
    EXPECT_FALSE(last.peer->IsClosed());
}

TEST_F(APeerTable, TurnsASilentSurplusClientAway)
{
    std::vector<Client> all;
    for (std::size_t i = 0; i < PeerTable::maxPeers; ++i) {
        all.push_back(Connect());
        ASSERT_NE(all.back().peer, nullptr);
    }
    const Client surplus = Connect();
    EXPECT_FALSE(table.IsFull());
    table.Update(*surplus.peer);
    EXPECT_EQ(SaidInTime(surplus),
              "SubtitleMgrSim: client 1025: turned away: there are as many clients as can be "
              "served\n");
    EXPECT_TRUE(surplus.peer->IsClosed());
}

TEST_F(APeerTable, GivesASilentSurplusClientAPlaceThatIsFree)
{
    std::vector<Client> all;
    for (std::size_t i = 0; i < PeerTable::maxPeers; ++i) {
        all.push_back(Connect());
    }
    const Client surplus = Connect();
    table.Drop(*all.back().peer);
    table.Update(*surplus.peer);
    EXPECT_EQ(SaidInTime(surplus), "");
    EXPECT_FALSE(surplus.peer->IsClosed());
    EXPECT_TRUE(table.Seat(*surplus.peer));
}

}  // namespace
