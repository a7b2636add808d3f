// Peers that send malformed, incomplete or too many frames, or hang up: each loses its own
// connection at most.

#include "tests/harness/forked.h"
#include "tests/harness/process_facts.h"
#include "tests/harness/wait_limits.h"
#include "tests/service/SimulatorSession.h"

#include <csignal>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string PingRequest(unsigned int number)
{
    return FrameBytes(FrameKind::Request, messages::ping, number, "");
}

std::string PingReply(unsigned int number)
{
    return FrameBytes(FrameKind::Reply, messages::ReplyTo(messages::ping), number, "");
}

class QuietService : public SimulatorSession {
protected:
    QuietService() { service.Quiet().Start(); }
};

using BadFrame = QuietService;

TEST_F(BadFrame, ClosesItsConnectionOnly)
{
    WireClient bystander = Connect();
    EXPECT_EQ(bystander.Ask(messages::ping), "");
    WireClient bad = Connect();
    bad.Send(PingRequest(77) + "GET / HTTP/1.1\r\n\r\n");
    EXPECT_EQ(bad.ReceiveBytes(), PingReply(77));
    EXPECT_THROW(bad.ReceiveFrame(), std::runtime_error);
    EXPECT_EQ(bystander.Ask(messages::ping), "");
    Terminate(service.Process());
    EXPECT_EQ(service.Process().Errors(),
              "SubtitleMgrSim: client 2: dropped: it sent not a frame\n");
}

/// A client that ends its sending direction before it begins to read.
using HalfClosedConnection = QuietService;

TEST_F(HalfClosedConnection, GetsEveryReply)
{
    // First the service sees the end while the backlog has replies, then it stops reading until
    // there is room for replies.
    for (const unsigned int pings : {50u, 100u}) {
        WireClient client = Connect({10});
        const std::string record = PaletteRecord(2, 31, true, std::string(8 * 1024 * 1024, 'p'));
        std::string requests =
            FrameBytes(FrameKind::Request, messages::setPaletteData, 200, record);
        for (unsigned int i = 1; i <= pings; ++i) {
            requests += PingRequest(i);
        }
        client.Send(requests);
        client.EndSending();
        EXPECT_EQ(client.ReceiveBytes(), FrameBytes(FrameKind::Reply, 0x3C09, 200, accepted));
        EXPECT_TRUE(client.ReceiveBytes() == NotificationBytes(10, messages::paletteItem, record));
        for (unsigned int i = 1; i <= pings; ++i) {
            ASSERT_EQ(client.ReceiveBytes(), PingReply(i));
        }
        client.ExpectClosed();
    }
}

using IncompleteFrames = QuietService;

TEST_F(IncompleteFrames, StayBelowTheirTotalLimit)
{
    const std::string header =
        Bytes({'S', 'T', 1, 1}) + U32(messages::setRegionData) + U32(1) + U32(maxPayload);
    constexpr std::size_t megabyte = 1024 * 1024;
    WireClient small = Connect();
    small.Send(header + std::string(megabyte, 'x'));
    std::vector<WireClient> large = ConnectMany(4);
    for (WireClient& client : large) {
        client.Send(header + std::string(maxPayload - 1, 'x'));
    }
    service.Process().WaitForErrors(
        "SubtitleMgrSim: client 2: dropped: the incomplete frames of all clients exceed 64 MiB\n");
    // The service keeps the smallest one: it answers the completed request.
    small.Send(std::string(maxPayload - megabyte, 'x'));
    EXPECT_EQ(small.ReceiveFrame().header.messageId, messages::notUnderstood);
}

using Flood = QuietService;

TEST_F(Flood, IsAnsweredInOrderAndDelaysNoOtherClient)
{
    WireClient flooder = Connect();
    WireClient good = Connect();
    std::string burst;
    for (unsigned int i = 1; i <= 2000; ++i) {
        burst += PingRequest(i);
    }
    for (int round = 0; round < 20; ++round) {
        flooder.Send(burst);
        EXPECT_EQ(good.Ask(messages::ping), "");
        for (unsigned int i = 1; i <= 2000; ++i) {
            ASSERT_EQ(flooder.ReceiveBytes(), PingReply(i));
        }
    }
}

using ClientOfAnotherUser = QuietService;

TEST_F(ClientOfAnotherUser, IsTurnedAway)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    // These modes let every user connect, so only the service can refuse.
    ASSERT_EQ(chmod(messaging.Path().c_str(), 0711), 0);
    ASSERT_EQ(chmod(service.SocketPath().c_str(), 0777), 0);
    EXPECT_EQ(StatusWithoutPrivileges([this] {
                  const WireClient client = Connect();
                  const std::string request = PingRequest(1);
                  send(client.Fd(), request.data(), request.size(), MSG_NOSIGNAL);
                  char byte;
                  return recv(client.Fd(), &byte, 1, 0) > 0 ? 1 : 0;
              }),
              0)
        << "the service answered";
    service.Process().WaitForErrors("SubtitleMgrSim: a client of another user was turned away\n");
    EXPECT_EQ(Connect().Ask(messages::ping), "");
}

using DescriptorShortage = QuietService;

TEST_F(DescriptorShortage, TurnsAwayOnlyNewClientsUntilItEnds)
{
    WireClient early = Connect();
    EXPECT_EQ(early.Ask(messages::ping), "");
    const rlimit few{24, 24};
    ASSERT_EQ(prlimit(service.Process().Pid(), RLIMIT_NOFILE, &few, nullptr), 0);
    std::vector<WireClient> crowd = ConnectMany(40);
    service.Process().WaitForErrors(
        "SubtitleMgrSim: no descriptors left; clients are turned away\n");
    EXPECT_EQ(early.Ask(messages::ping), "");
    crowd.back().ExpectClosed();
    crowd.clear();
    // The service detects the lost connections one by one.
    WaitUntil(
        [this] {
            try {
                return Connect().Ask(messages::ping).empty();
            } catch (const std::runtime_error&) {
                return false;
            }
        },
        [] { return "a new client to be served"; });
}

/// Attaches \p count descriptors, all of this socket.
void SendWithDescriptors(int fd, const std::string& bytes, unsigned count)
{
    std::vector<int> fds(count, fd);
    const std::size_t size = count * sizeof(int);
    std::vector<unsigned char> control(CMSG_SPACE(size));
    iovec piece{const_cast<char*>(bytes.data()), bytes.size()};
    msghdr message{};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(size);
    std::memcpy(CMSG_DATA(header), fds.data(), size);
    EXPECT_EQ(sendmsg(fd, &message, MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
}

using AttachedDescriptors = QuietService;

TEST_F(AttachedDescriptors, AreNotTaken)
{
    WireClient peer = Connect();
    EXPECT_EQ(peer.Ask(messages::ping), "");
    const int before = CountDescriptors(service.Process().Pid());
    for (unsigned int i = 0; i < 50; ++i) {
        SendWithDescriptors(peer.Fd(), PingRequest(i), 100);
        EXPECT_EQ(peer.ReceiveFrame().header.correlation, i);
    }
    EXPECT_EQ(CountDescriptors(service.Process().Pid()), before);
}

using OutOfBandByte = QuietService;

TEST_F(OutOfBandByte, KeepsTheStreamInStep)
{
    WireClient peer = Connect();
    peer.Send(PingRequest(1).substr(0, 7));
    send(peer.Fd(), "!", 1, MSG_OOB | MSG_NOSIGNAL);
    peer.Send(PingRequest(1).substr(7) + PingRequest(2));
    EXPECT_EQ(peer.ReceiveFrame().header.correlation, 1u);
    EXPECT_EQ(peer.ReceiveFrame().header.correlation, 2u);
}

using Quit = QuietService;

TEST_F(Quit, IsObeyedAfterItsClientHungUp)
{
    std::string requests;
    for (unsigned int i = 0; i < 30; ++i) {
        requests += FrameBytes(FrameKind::Request, messages::setPaletteData, 5 + i,
                               PaletteRecord(1, 1, true, std::string(1024, 'p')));
    }
    for (int round = 0; round < 3; ++round) {
        {
            WireClient client = Connect({10});
            client.Send(requests + FrameBytes(FrameKind::OneWay, messages::quit, 0, ""));
        }  // closes with unread replies, so the service gets ECONNRESET before it reads the request
        EXPECT_EQ(service.Process().WaitForExit(), 0);
        service.Start();
    }
}

using RemovedDirectory = QuietService;

TEST_F(RemovedDirectory, KeepsConnections)
{
    WireClient early = Connect();
    ASSERT_EQ(early.Ask(messages::ping), "");
    for (const auto& entry : std::filesystem::directory_iterator(messaging.Path())) {
        std::filesystem::remove_all(entry.path());
    }
    EXPECT_EQ(early.Ask(messages::ping), "");
    EXPECT_THROW(Connect(), std::runtime_error);
    service.Stop();
}

using ChildOfTheService = QuietService;

TEST_F(ChildOfTheService, InheritsNoDescriptor)
{
    WireClient client = Connect();
    ASSERT_EQ(client.Ask(messages::ping), "");
    EXPECT_EQ(InheritableDescriptors(service.Process().Pid()), InheritableDescriptors(getpid()));
}

}  // namespace
