// The simulated service as a process, among peers that do what peers should not, and many of them.

#include "platform/src/deadline.h"
#include "tests/harness/build_kind.h"
#include "tests/resilience/faults/process_facts.h"
#include "tests/service/SimulatorSession.h"

#include <LinxIpc.h>
#include <RegionVisItem.h>
#include <SubtitleClient.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

using namespace platform;

namespace {

const std::string ping = FrameBytes(FrameKind::Request, messages::ping, 1, "");
const std::string pong = FrameBytes(FrameKind::Reply, messages::ReplyTo(messages::ping), 1, "");

/// A bare connection, for what RawConnection cannot do.
Descriptor ConnectBare(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(connect(fd.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return fd;
}

void SendWithDescriptors(int fd, const std::string& bytes, int attached, unsigned count)
{
    std::vector<int> fds(count, attached);
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

class AServiceUnderLoad : public SimulatorSession {
protected:
    AServiceUnderLoad()
    {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 4096);
        setrlimit(RLIMIT_NOFILE, &limit);
        service.Quiet();
    }

    pid_t Pid() { return service.Process().Pid(); }

    std::vector<std::unique_ptr<WireClient>> Crowd(unsigned count) const
    {
        std::vector<std::unique_ptr<WireClient>> crowd;
        for (unsigned i = 0; i < count; ++i) {
            crowd.push_back(std::make_unique<WireClient>(service.SocketPath()));
        }
        return crowd;
    }

    /// Until the service has noticed that connections are gone.
    void ExpectDescriptors(int count)
    {
        for (const Deadline deadline(10000); CountDescriptors(Pid()) != count;) {
            ASSERT_FALSE(deadline.HasPassed()) << CountDescriptors(Pid()) << " descriptors";
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
};

TEST_F(AServiceUnderLoad, TakesNoDescriptorsThatAreAttached)
{
    service.Start();
    const Descriptor peer = ConnectBare(service.SocketPath());
    RawConnection talk{Descriptor(dup(peer.Get()))};
    talk.Send(ping);
    talk.ReceiveFrame();
    const int before = CountDescriptors(Pid());
    for (int i = 0; i < 50; ++i) {
        SendWithDescriptors(peer.Get(), ping, peer.Get(), 100);
        EXPECT_EQ(talk.ReceiveFrame().header.messageId, messages::ReplyTo(messages::ping));
    }
    EXPECT_EQ(CountDescriptors(Pid()), before);
}

TEST_F(AServiceUnderLoad, StaysInStepAroundAnOutOfBandByte)
{
    service.Start();
    const Descriptor peer = ConnectBare(service.SocketPath());
    RawConnection talk{Descriptor(dup(peer.Get()))};
    talk.Send(ping.substr(0, 7));
    send(peer.Get(), "!", 1, MSG_OOB | MSG_NOSIGNAL);
    talk.Send(ping.substr(7) + ping);
    EXPECT_EQ(talk.ReceiveFrame().header.messageId, messages::ReplyTo(messages::ping));
    EXPECT_EQ(talk.ReceiveFrame().header.messageId, messages::ReplyTo(messages::ping));
}

TEST_F(AServiceUnderLoad, AnswersAmongTwoHundredThatTrickle)
{
    service.Start();
    const auto crowd = Crowd(200);
    WireClient good = Connect();
    for (const char byte : ping) {
        for (const auto& slow : crowd) {
            slow->Send(std::string(1, byte));
        }
        ASSERT_EQ(good.Ask(messages::ping), "");
    }
    for (const auto& slow : crowd) {
        ASSERT_EQ(slow->ReceiveBytes(), pong);
    }
}

TEST_F(AServiceUnderLoad, KeepsNoMemoryForLengthsThatAreOnlyClaimed)
{
    service.Start();
    ASSERT_EQ(Connect().Ask(messages::ping), "");
    const long before = ResidentKilobytes(Pid());
    const auto crowd = Crowd(100);
    for (const auto& liar : crowd) {
        liar->Send(Bytes({'S', 'T', 1, 1}) + U32(messages::setRegionData) + U32(1) +
                   U32(16 * 1024 * 1024));
    }
    for (const unsigned length : {0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu, 0x01000001u}) {
        for (int i = 0; i < 50; ++i) {
            WireClient liar = Connect();
            liar.Send(Bytes({'S', 'T', 1, 1}) + U32(messages::ping) + U32(1) + U32(length));
            liar.ExpectClosed();
        }
    }
    ASSERT_EQ(Connect().Ask(messages::ping), "");
    if (!isSanitized && !isEmulated) {
        EXPECT_LT(ResidentKilobytes(Pid()) - before, 1024);
    }
}

TEST_F(AServiceUnderLoad, ObeysAQuitBehindNotificationsThatNobodyRead)
{
    for (int round = 0; round < (isEmulated ? 3 : 20); ++round) {
        service.Start();
        {
            WireClient client = Connect();
            client.Subscribe(10);
            std::string requests;
            for (unsigned i = 0; i < 30; ++i) {
                requests += FrameBytes(FrameKind::Request, messages::setPaletteData, 5 + i,
                                       PaletteRecord(1, 1, true, std::string(1024, 'p')));
            }
            client.Send(requests + FrameBytes(FrameKind::OneWay, messages::quit, 0, ""));
        }  // gone, with all of it unread: the service sees the loss before the request
        EXPECT_EQ(service.Process().WaitForExit(), 0);
    }
}

TEST_F(AServiceUnderLoad, FreesWhatClientsHeldThatWereKilled)
{
    service.Start();
    WireClient editor = Connect();
    ASSERT_EQ(editor.Ask(messages::ping), "");
    const int before = CountDescriptors(Pid());
    for (int i = 0; i < 300; ++i) {
        WireClient client = Connect();
        client.Subscribe(6);
        ASSERT_EQ(editor.Ask(messages::setRegionVisibility, VisibilityRecord(1, i % 2 == 0)),
                  accepted);
    }
    ExpectDescriptors(before);
}

TEST_F(AServiceUnderLoad, TellsAHundredClientsItsEnd)
{
    service.Start();
    const auto crowd = Crowd(100);
    for (const auto& client : crowd) {
        client->Subscribe(6);
    }
    Connect().SendFrame(FrameKind::OneWay, messages::quit, 0);
    for (const auto& client : crowd) {
        client->ExpectClosed();
    }
    EXPECT_EQ(service.Process().WaitForExit(), 0);
}

TEST_F(AServiceUnderLoad, AnswersOneWhileAnotherFloodsIt)
{
    service.Start();
    std::atomic<bool> ended{false};
    std::thread flooder([&] {
        WireClient client = Connect();
        std::string burst;
        for (int i = 0; i < 64; ++i) {
            burst += ping;
        }
        while (!ended) {
            client.Send(burst);
            for (int i = 0; i < 64; ++i) {
                client.ReceiveBytes();
            }
        }
    });
    WireClient good = Connect();
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(good.Ask(messages::ping), "");
    }
    ended = true;
    flooder.join();
}

TEST_F(AServiceUnderLoad, LosesNothingForAThousandSubscribers)
{
    constexpr unsigned subscribers = isEmulated ? 200 : 1000;
    service.Start();
    const auto crowd = Crowd(subscribers);
    for (const auto& client : crowd) {
        client->Subscribe(6);
    }
    WireClient editor = Connect();
    for (unsigned i = 0; i < 10; ++i) {
        ASSERT_EQ(editor.Ask(messages::setRegionVisibility, VisibilityRecord(1 + i, true)),
                  accepted);
    }
    for (const auto& client : crowd) {
        for (unsigned i = 0; i < 10; ++i) {
            ASSERT_EQ(client->ReceiveBytes(),
                      NotificationBytes(6, messages::regionVisItem, VisibilityRecord(1 + i, true)));
        }
    }
    if (!isSanitized && !isEmulated) {
        EXPECT_LT(ResidentKilobytes(Pid()), 64 * 1024);
    }
}

/// A subscriber as the client has it.
struct Subscriber {
    static void Count(LinxIpc*, void* self) { ++static_cast<Subscriber*>(self)->received; }

    void Subscribe()
    {
        RegionVisItem unused;
        ASSERT_EQ(ipc.Init(), 0);
        ASSERT_EQ(client.Subscribe(6, messages::regionVisItem, unused, Count, this), 0);
    }

    LinxIpc ipc{"Subscriber"};
    SubtitleClient client{ipc, 10000};
    unsigned received = 0;
};

TEST_F(AServiceUnderLoad, IsFoundAgainByHundredsOfSubscribersWhenItComesBack)
{
    setenv("LINX_DIR", messaging.Path().c_str(), 1);
    service.Start();
    std::vector<std::unique_ptr<Subscriber>> crowd;
    for (unsigned i = 0; i < (isEmulated ? 50 : 300); ++i) {
        crowd.push_back(std::make_unique<Subscriber>());
        crowd.back()->Subscribe();
    }
    service.Kill();
    service.Start();
    WireClient editor = Connect();
    const auto isStillAway = [](const auto& one) { return one->received == 0; };
    for (const Deadline deadline(10000); !deadline.HasPassed();) {
        // Nobody is told what was published before the subscription was renewed.
        ASSERT_EQ(editor.Ask(messages::setRegionVisibility, VisibilityRecord(1, true)), accepted);
        for (const auto& one : crowd) {
            one->ipc.Receive(0, 0, LinxIpc::emptyString, nullptr);
        }
        if (std::none_of(crowd.begin(), crowd.end(), isStillAway)) {
            break;
        }
    }
    EXPECT_EQ(std::count_if(crowd.begin(), crowd.end(), isStillAway), 0);
    unsetenv("LINX_DIR");
}

TEST_F(AServiceUnderLoad, GoesOnWithThoseItHasWhenItsDirectoryIsRemoved)
{
    service.Start();
    WireClient early = Connect();
    ASSERT_EQ(early.Ask(messages::ping), "");
    for (const auto& entry : std::filesystem::directory_iterator(messaging.Path())) {
        std::filesystem::remove_all(entry.path());
    }
    EXPECT_EQ(early.Ask(messages::ping), "");
    EXPECT_THROW(Connect(), std::runtime_error);
    service.Stop();
}

TEST_F(AServiceUnderLoad, HandsNothingToProgramsItMightStart)
{
    service.Start();
    WireClient client = Connect();
    ASSERT_EQ(client.Ask(messages::ping), "");
    EXPECT_EQ(InheritableDescriptors(Pid()), InheritableDescriptors(getpid()));
}

TEST_F(AServiceUnderLoad, HasNoSocketOutsideItsDirectory)
{
    service.Start();
    WireClient client = Connect();
    ASSERT_EQ(client.Ask(messages::ping), "");
    EXPECT_EQ(AbstractSockets(Pid()), "");
}

}  // namespace
