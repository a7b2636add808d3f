// Peers that send nonsense, too much, or nothing at all; each costs itself its connection at most.

#include "tests/harness/wait_limits.h"
#include "tests/service/SimulatorSession.h"

#include "platform/src/deadline.h"

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace platform;

namespace {

class AServiceAmongPeers : public SimulatorSession {
protected:
    AServiceAmongPeers() { service.Quiet(); }
};

struct Nonsense {
    const char* name;
    std::string bytes;
    const char* reason;
};

class AServiceThatIsSentNonsense : public AServiceAmongPeers,
                                   public testing::WithParamInterface<Nonsense> {};

TEST_P(AServiceThatIsSentNonsense, DropsThatPeerAloneAndSaysWhy)
{
    service.Start();
    WireClient bystander = Connect();
    EXPECT_EQ(bystander.Ask(messages::ping), "");
    WireClient bad = Connect();
    EXPECT_EQ(bad.Ask(messages::ping), "");
    // A good request in front of it is answered first.
    bad.Send(FrameBytes(FrameKind::Request, messages::ping, 77, "") + GetParam().bytes);
    EXPECT_EQ(bad.ReceiveBytes(), FrameBytes(FrameKind::Reply, messages::ping + 1, 77, ""));
    EXPECT_THROW(bad.ReceiveFrame(), std::runtime_error);
    EXPECT_EQ(bystander.Ask(messages::ping), "");
    service.Process().Signal(SIGTERM);
    EXPECT_EQ(service.Process().WaitForExit(), 0);
    EXPECT_EQ(
        service.Process().Errors(),
        std::string("SubtitleMgrSim: client 2: dropped: it sent ") + GetParam().reason + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Frames, AServiceThatIsSentNonsense,
    testing::Values(
        Nonsense{"Mark", "GET / HTTP/1.1\r\n\r\n", "not a frame"},
        Nonsense{"Version", Bytes({'S', 'T', 2, 1, 0, 0, 0x3B, 1, 0, 0, 0, 1, 0, 0, 0, 0}),
                 "a frame of another version"},
        Nonsense{"Kind", Bytes({'S', 'T', 1, 5, 0, 0, 0x3B, 1, 0, 0, 0, 1, 0, 0, 0, 0}),
                 "a frame of an unknown kind"},
        Nonsense{"Length", Bytes({'S', 'T', 1, 1, 0, 0, 0x3B, 1, 0, 0, 0, 1, 1, 0, 0, 1}),
                 "a frame that claims more than 16 MiB"},
        Nonsense{"Reply", FrameBytes(FrameKind::Reply, 0x3B02, 1, ""),
                 "what only a service may send"},
        Nonsense{"Notification",
                 FrameBytes(FrameKind::Notification, 15132, 6, VisibilityRecord(1, true)),
                 "what only a service may send"}),
    [](const auto& testInfo) { return std::string(testInfo.param.name); });

TEST_F(AServiceAmongPeers, AnswersNotUnderstoodAndGoesOnWithThatPeer)
{
    service.Journal().Start();
    WireClient client = Connect();
    for (const unsigned int unknown : {0x3C20u, 0u, 0xFFFFFFFFu, messages::notUnderstood}) {
        const unsigned int correlation = client.Request(unknown, "abc");
        EXPECT_EQ(client.ReceiveBytes(), FrameBytes(FrameKind::Reply, 0x3CFF, correlation, ""));
    }
    // Known, but of a wrong length, outside or inside.
    unsigned int correlation = client.Request(messages::subscribe, U32(10));
    EXPECT_EQ(client.ReceiveBytes(), FrameBytes(FrameKind::Reply, 0x3CFF, correlation, ""));
    correlation = client.Request(messages::setRegionData, Bytes({1, 0}) + U32(0xFFFFFFFF) + "x");
    EXPECT_EQ(client.ReceiveBytes(), FrameBytes(FrameKind::Reply, 0x3CFF, correlation, ""));
    client.SendFrame(FrameKind::OneWay, 0x3C20, 0);
    EXPECT_EQ(client.Ask(messages::ping), "");
    EXPECT_EQ(service.JournalLines(), std::vector<std::string>{"{\"request\":\"Ping\"}"});
    service.Process().WaitForErrors("not understood: request 0x3C20, 3 bytes\n");
    service.Process().WaitForErrors("not understood: request 0x3C04, 7 bytes\n");
    service.Process().WaitForErrors("not understood: one-way message 0x3C20, 0 bytes\n");
}

TEST_F(AServiceAmongPeers, UnderstandsARequestThatComesByteByByte)
{
    service.Start();
    WireClient client = Connect();
    client.Subscribe(10);
    const std::string record = PaletteRecord(2, 31, true, "pal");
    for (const char byte : FrameBytes(FrameKind::Request, messages::setPaletteData, 9, record)) {
        client.Send(std::string(1, byte));
    }
    EXPECT_EQ(client.ReceiveBytes(), FrameBytes(FrameKind::Reply, 0x3C09, 9, accepted));
    EXPECT_EQ(client.ReceiveBytes(), NotificationBytes(10, 15133, record));
}

/// The client asks this much, says that it sends no more, and only then begins to read.
void ExpectAllAnsweredAfterTheEnd(WireClient client, unsigned int pings)
{
    client.Subscribe(10);
    // More than a socket takes at once: the replies behind it are still queued at the end.
    const std::string record = PaletteRecord(2, 31, true, std::string(8 * 1024 * 1024, 'p'));
    std::string requests = FrameBytes(FrameKind::Request, messages::setPaletteData, 200, record);
    for (unsigned int i = 1; i <= pings; ++i) {
        requests += FrameBytes(FrameKind::Request, messages::ping, i, "");
    }
    client.Send(requests);
    client.EndSending();
    EXPECT_EQ(client.ReceiveBytes(), FrameBytes(FrameKind::Reply, 0x3C09, 200, accepted));
    EXPECT_TRUE(client.ReceiveBytes() == NotificationBytes(10, 15133, record));
    for (unsigned int i = 1; i <= pings; ++i) {
        ASSERT_EQ(client.ReceiveBytes(), FrameBytes(FrameKind::Reply, 0x3B02, i, ""));
    }
    client.ExpectClosed();
}

TEST_F(AServiceAmongPeers, AnswersAllThatAPeerAskedBeforeItSaidThatItSendsNoMore)
{
    service.Start();
    // So few that the end is seen while their replies wait, and so many that reading stops for
    // them.
    ExpectAllAnsweredAfterTheEnd(Connect(), 50);
    ExpectAllAnsweredAfterTheEnd(Connect(), 100);
}

TEST_F(AServiceAmongPeers, AnswersAThousandRequestsThatComeAtOnceInTheirOrder)
{
    service.Start();
    std::string burst;
    for (unsigned int i = 1; i <= 1000; ++i) {
        burst += FrameBytes(FrameKind::Request, messages::ping, i, "");
    }
    WireClient client = Connect();
    client.Send(burst);
    EXPECT_EQ(Connect().Ask(messages::ping), "");  // among them
    for (unsigned int i = 1; i <= 1000; ++i) {
        ASSERT_EQ(client.ReceiveBytes(), FrameBytes(FrameKind::Reply, messages::ping + 1, i, ""));
    }
}

TEST_F(AServiceAmongPeers, ServesOneAmongTwoHundredThatSayNothing)
{
    service.Start();
    std::vector<std::unique_ptr<WireClient>> silent;
    for (int i = 0; i < 200; ++i) {
        silent.push_back(std::make_unique<WireClient>(service.SocketPath()));
    }
    EXPECT_EQ(Connect().Ask(messages::ping), "");
    for (const auto& client : silent) {
        EXPECT_EQ(client->Ask(messages::ping), "");
    }
}

/// Pings as another user.
/// \return 0 when the service closed the connection without a byte, 1 when it answered
int AnswerToAnotherUser(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    const std::string ping = FrameBytes(FrameKind::Request, messages::ping, 1, "");
    const pid_t child = fork();
    if (child == 0) {
        constexpr uid_t nobody = 65534;
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        if (setresuid(nobody, nobody, nobody) != 0 ||
            connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            _exit(2);
        }
        send(fd, ping.data(), ping.size(), MSG_NOSIGNAL);
        char byte;
        _exit(recv(fd, &byte, 1, 0) > 0 ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(AServiceAmongPeers, TurnsAwayAClientOfAnotherUser)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    service.Start();
    // Open to all as files: nothing but the service itself keeps others out.
    ASSERT_EQ(chmod(messaging.Path().c_str(), 0711), 0);
    ASSERT_EQ(chmod(service.SocketPath().c_str(), 0777), 0);
    EXPECT_EQ(AnswerToAnotherUser(service.SocketPath()), 0);
    service.Process().WaitForErrors("SubtitleMgrSim: a client of another user was turned away\n");
    EXPECT_EQ(Connect().Ask(messages::ping), "");
}

TEST_F(AServiceAmongPeers, GoesOnWithThoseItHasWhenDescriptorsRunOutAndRecovers)
{
    service.Start();
    WireClient early = Connect();
    EXPECT_EQ(early.Ask(messages::ping), "");
    const rlimit few{24, 24};
    ASSERT_EQ(prlimit(service.Process().Pid(), RLIMIT_NOFILE, &few, nullptr), 0);
    std::vector<std::unique_ptr<WireClient>> crowd;
    for (int i = 0; i < 40; ++i) {
        crowd.push_back(std::make_unique<WireClient>(service.SocketPath()));
    }
    service.Process().WaitForErrors(
        "SubtitleMgrSim: no descriptors left; clients are turned away\n");
    EXPECT_EQ(early.Ask(messages::ping), "");
    // Turned away means closed, not left waiting.
    crowd.back()->ExpectClosed();
    crowd.clear();
    // The places of the crowd come free one after the other.
    bool served = false;
    for (const Deadline deadline(eventDeadlineMs); !served && !deadline.HasPassed();) {
        try {
            served = Connect().Ask(messages::ping).empty();
        } catch (const std::runtime_error&) {
            EXPECT_EQ(early.Ask(messages::ping), "");
        }
    }
    EXPECT_TRUE(served);
}

}  // namespace
