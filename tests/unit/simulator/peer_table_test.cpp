#include "simulator/clients/peer_table.h"

#include "tests/harness/wait_limits.h"
#include "tests/unit/captured_console.h"

#include "platform/src/wire_format.h"

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

/// A client of the table.
struct Client {
    Descriptor socket;
    Peer* peer = nullptr;
};

class PeerTable : public testing::Test {
protected:
    PeerTable()
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

    void ConnectAsManyAsHaveAPlace()
    {
        for (std::size_t i = 0; i < sim::PeerTable::maxPeers; ++i) {
            others.push_back(Connect());
            ASSERT_NE(others.back().peer, nullptr);
        }
    }

    /// The table receives \p client's bytes, which are no complete frame.
    void Send(const Client& client, const std::string& bytes)
    {
        EXPECT_EQ(send(client.socket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
        while (client.peer->Receive() > 0) {
            client.peer->AwaitMore();
        }
        table.Update(*client.peer);
    }

    /// Lines about \p client until the table drops it or has nothing left to check.
    std::string LinesInTime(const Client& client)
    {
        return ErrorsOf([&] {
            const Deadline deadline(eventDeadlineMs);
            while (table.NextLookMs() >= 0 && !client.peer->IsClosed()) {
                ASSERT_FALSE(deadline.HasPassed());
                std::this_thread::sleep_for(milliseconds(table.NextLookMs()));
                table.Look();
            }
        });
    }

    Poller poller;
    const Patience patience{10000, milliseconds(150), milliseconds(150)};
    FaultList faults;
    sim::PeerTable table{poller, faults, patience};
    std::vector<Client> others;

    /// The beginning of an incomplete frame.
    const std::string incomplete =
        std::string("ST\1\1\0\0\0\1\0\0\0\1\0\xFF\xFF\xFF", 16) + std::string(10000, 'x');
};

TEST_F(PeerTable, DropsAPeerThatStopsInsideAFrame)
{
    const Client client = Connect();
    const auto start = std::chrono::steady_clock::now();
    Send(client, incomplete.substr(0, 17));
    EXPECT_EQ(LinesInTime(client),
              "SubtitleMgrSim: client 1: dropped: it stopped inside a frame\n");
    EXPECT_TRUE(client.peer->IsClosed());
    EXPECT_GE(std::chrono::steady_clock::now() - start, patience.insideFrame);
}

TEST_F(PeerTable, KeepsAPeerThatIsSilentBetweenFrames)
{
    unsigned char header[frameHeaderSize];
    EncodeFrameHeader({FrameKind::Request, messages::setRegionData, 1, 5000}, header);
    const std::string frame =
        std::string(header, header + sizeof header) + incomplete.substr(0, 5000);
    const Client client = Connect();
    Send(client, frame.substr(0, 15));
    EXPECT_GE(table.NextLookMs(), 0);
    Send(client, frame.substr(15));
    ReceivedFrame received{};
    const char* problem = nullptr;
    ASSERT_EQ(client.peer->input.Next(received, problem), InputBlocks::Cut::Frame);
    received = {};
    client.peer->AwaitMore();
    std::size_t room = 0;
    client.peer->input.Room(room);
    EXPECT_EQ(room, 1024u) << "the memory of the frame is not free";
    EXPECT_EQ(LinesInTime(client), "");
    EXPECT_FALSE(client.peer->IsClosed());
}

TEST_F(PeerTable, DropsTheLargestIncompleteFrame)
{
    const Client small = Connect();
    const Client large = Connect();
    const Client last = Connect();
    Send(small, incomplete.substr(0, 1000));
    Send(large, incomplete.substr(0, 5000));
    Send(last, incomplete.substr(0, 4000));
    EXPECT_FALSE(large.peer->IsClosed());
    EXPECT_EQ(ErrorsOf([&] { Send(small, "x"); }),
              "SubtitleMgrSim: client 2: dropped: the incomplete frames of all clients exceed 64 "
              "MiB\n");
    EXPECT_TRUE(large.peer->IsClosed());
    EXPECT_FALSE(small.peer->IsClosed());
    EXPECT_FALSE(last.peer->IsClosed());
}

TEST_F(PeerTable, TurnsASilentSurplusClientAway)
{
    ConnectAsManyAsHaveAPlace();
    const Client surplus = Connect();
    EXPECT_FALSE(table.IsFull());
    table.Update(*surplus.peer);
    EXPECT_EQ(LinesInTime(surplus),
              "SubtitleMgrSim: client 1025: turned away: there are as many clients as can be "
              "served\n");
    EXPECT_TRUE(surplus.peer->IsClosed());
}

TEST_F(PeerTable, GivesASilentSurplusClientAPlaceThatIsFree)
{
    ConnectAsManyAsHaveAPlace();
    const Client surplus = Connect();
    table.Drop(*others.back().peer);
    table.Update(*surplus.peer);
    EXPECT_EQ(LinesInTime(surplus), "");
    EXPECT_FALSE(surplus.peer->IsClosed());
    EXPECT_TRUE(table.Seat(*surplus.peer));
}

TEST_F(PeerTable, KeepsAPeerStalledUntilItsBacklogIsEmpty)
{
    const Client client = Connect();
    client.peer->subscriptions.Add(6, messages::regionVisItem);
    const auto frame = std::make_shared<std::vector<unsigned char>>(20000);
    for (int i = 0; i < 300; ++i) {
        table.Publish(6, frame);
    }
    std::vector<char> bytes(100000);
    const auto read = [&] {
        const ssize_t count = recv(client.socket.Get(), bytes.data(), bytes.size(), 0);
        table.Update(*client.peer);
        client.peer->Flush();
        return count > 0;
    };
    const auto now = Deadline::Clock::now();
    client.peer->stall.Judge(now - std::chrono::seconds(2), now);
    EXPECT_TRUE(read());
    EXPECT_TRUE(client.peer->stall.IsStalled());
    while (read()) {
    }
    EXPECT_FALSE(client.peer->stall.IsStalled());
}

}  // namespace
