// One service a name: who gets it, who is refused, and what happens to what stands in its place.

#include "tests/service/SimulatorSession.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <utility>

namespace {

struct stat StatusOf(const std::string& path)
{
    struct stat found {};
    EXPECT_EQ(lstat(path.c_str(), &found), 0) << path;
    return found;
}

class AServiceName : public SimulatorSession {
protected:
    std::string Complaint(const std::string& what) const
    {
        return "SubtitleMgrSim: " + service.SocketPath() + what + "\n";
    }

    /// Whatever stands in the socket's place is refused.
    void ExpectRefusedPlace() const
    {
        const struct stat before = StatusOf(service.SocketPath());
        const Ended ended = RunToEnd({});
        EXPECT_EQ(ended.status, 1);
        EXPECT_EQ(ended.output, "");
        EXPECT_EQ(ended.errors, Complaint(": is there already and not a socket; left as it is"));
        const struct stat after = StatusOf(service.SocketPath());
        EXPECT_EQ(after.st_ino, before.st_ino);
        EXPECT_EQ(after.st_mode, before.st_mode);
        EXPECT_EQ(after.st_size, before.st_size);
        EXPECT_FALSE(std::filesystem::exists(LockPath()));
    }
};

TEST_F(AServiceName, IsRefusedToASecondServiceWhileTheFirstAnswers)
{
    service.Start();
    WireClient early = Connect();
    const ino_t socket = StatusOf(service.SocketPath()).st_ino;
    const Ended second = RunToEnd({});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.output, "");
    EXPECT_EQ(second.errors, Complaint(": another service runs under this name"));
    EXPECT_EQ(StatusOf(service.SocketPath()).st_ino, socket);
    EXPECT_EQ(early.Ask(messages::ping), "");
    EXPECT_EQ(Connect().Ask(messages::ping), "");
}

TEST_F(AServiceName, IsTakenOverFromAKilledServiceTwentyTimes)
{
    service.Start();
    for (int round = 0; round < 20; ++round) {
        service.Kill();
        ASSERT_TRUE(std::filesystem::is_socket(service.SocketPath()));
        service.Start();
        ASSERT_EQ(Connect().Ask(messages::ping), "");
    }
}

TEST_F(AServiceName, GoesToExactlyOneOfTenThatTakeOverAtOnce)
{
    service.Start();
    service.Kill();
    std::vector<std::unique_ptr<ChildProcess>> all;
    for (int i = 0; i < 10; ++i) {
        all.push_back(Launch({}));
    }
    std::size_t refusals = 0;
    ChildProcess* survivor = nullptr;
    for (const auto& one : all) {
        try {
            one->WaitForOutput("ready\n");
            EXPECT_EQ(survivor, nullptr) << "two services of one name";
            survivor = one.get();
        } catch (const std::runtime_error&) {
            EXPECT_EQ(one->WaitForExit(), 1);
            EXPECT_EQ(one->Errors(), Complaint(": another service runs under this name"));
            ++refusals;
        }
    }
    EXPECT_EQ(refusals, 9u);
    ASSERT_NE(survivor, nullptr);
    WireClient client = Connect();
    EXPECT_EQ(client.Ask(messages::ping), "");
    client.SendFrame(FrameKind::OneWay, messages::quit, 0);
    EXPECT_EQ(survivor->WaitForExit(), 0);
    EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
}

TEST_F(AServiceName, IsNotTakenFromAFile)
{
    WriteWholeFile(service.SocketPath(), "precious");
    ExpectRefusedPlace();
    EXPECT_EQ(ReadWholeFile(service.SocketPath()), "precious");
}

TEST_F(AServiceName, IsNotTakenFromAFolder)
{
    std::filesystem::create_directory(service.SocketPath());
    ExpectRefusedPlace();
}

TEST_F(AServiceName, IsNotTakenFromAPipe)
{
    ASSERT_EQ(mkfifo(service.SocketPath().c_str(), 0600), 0);
    ExpectRefusedPlace();
}

TEST_F(AServiceName, IsNotTakenFromASymbolicLink)
{
    SimulatedService other(messaging.Path());
    other.Name("Other").Start();
    std::filesystem::create_symlink("Other", service.SocketPath());
    ExpectRefusedPlace();
    EXPECT_EQ(WireClient(other.SocketPath()).Ask(messages::ping), "");
}

/// Connects to the socket at \p path without waiting until no more connections fit its backlog.
std::vector<Descriptor> FillBacklog(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    std::vector<Descriptor> connected;
    int error = 0;
    while (error == 0) {
        Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        error = connect(fd.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0
                    ? 0
                    : errno;
        connected.push_back(std::move(fd));
    }
    EXPECT_EQ(error, EAGAIN);
    return connected;
}

/// What `ssh -L` leaves: a socket that answers, and no lock file.
class ASocketWithoutALock : public AServiceName {
protected:
    void ExpectLeftAlone()
    {
        const ino_t socket = StatusOf(service.SocketPath()).st_ino;
        const Ended ended = RunToEnd({});
        EXPECT_EQ(ended.status, 1);
        EXPECT_EQ(ended.errors, Complaint(": answers already; left as it is"));
        EXPECT_EQ(StatusOf(service.SocketPath()).st_ino, socket);
        EXPECT_FALSE(std::filesystem::exists(LockPath()));
    }
};

TEST_F(ASocketWithoutALock, IsLeftAloneWhenItAnswers)
{
    const RawService forwarded(service.SocketPath());
    ExpectLeftAlone();
    EXPECT_TRUE(forwarded.HasClient());
}

TEST_F(ASocketWithoutALock, IsLeftAloneWhenItsBacklogIsFull)
{
    const RawService forwarded(service.SocketPath());
    const std::vector<Descriptor> waiting = FillBacklog(service.SocketPath());
    ExpectLeftAlone();
}

class ARemovedLock : public AServiceName {};

TEST_F(ARemovedLock, LetsNoOtherServiceTakeTheName)
{
    service.Start();
    std::filesystem::remove(LockPath());
    for (int i = 0; i < 2; ++i) {
        const Ended other = RunToEnd({});
        EXPECT_EQ(other.status, 1);
        EXPECT_EQ(other.errors, Complaint(": answers already; left as it is"));
        EXPECT_EQ(Connect().Ask(messages::ping), "");
    }
    service.Stop();
    EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
}

TEST_F(ARemovedLock, AndSocketOfTheFirstServiceAreNotThoseOfTheSecond)
{
    service.Start();
    std::filesystem::remove(LockPath());
    std::filesystem::remove(service.SocketPath());
    const auto second = Launch({"--quiet"});
    second->WaitForOutput("ready\n");
    const ino_t socket = StatusOf(service.SocketPath()).st_ino;
    const ino_t lock = StatusOf(LockPath()).st_ino;
    service.Stop();
    EXPECT_EQ(StatusOf(service.SocketPath()).st_ino, socket);
    EXPECT_EQ(StatusOf(LockPath()).st_ino, lock);
    EXPECT_EQ(Connect().Ask(messages::ping), "");
    EXPECT_EQ(RunToEnd({}).errors, Complaint(": another service runs under this name"));
    second->Signal(SIGTERM);
    EXPECT_EQ(second->WaitForExit(), 0);
    EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
}

TEST_F(AServiceName, WithASlashStandsInAFolderThatIsMade)
{
    service.Start();
    SimulatedService node(messaging.Path());
    node.Name("node1/SubtitleMgr").Start();
    EXPECT_EQ(StatusOf(messaging / "node1").st_mode & 07777, 0700u);
    EXPECT_EQ(WireClient(messaging / "node1/SubtitleMgr").Ask(messages::ping), "");
    EXPECT_EQ(Connect().Ask(messages::ping), "");
    node.Stop();
    EXPECT_TRUE(std::filesystem::is_empty(messaging / "node1"));
}

TEST_F(AServiceName, IsASocketForItsUserAloneWhateverTheMask)
{
    const mode_t before = umask(0);
    service.Start();
    umask(before);
    EXPECT_EQ(StatusOf(service.SocketPath()).st_mode & 07777, 0600u);
    EXPECT_EQ(StatusOf(LockPath()).st_mode & 07777, 0600u);
}

TEST_F(AServiceName, HasThisModeUnderEveryUmask)
{
    constexpr mode_t atOnce = 16;
    for (mode_t first = 0; first < 01000; first += atOnce) {
        std::vector<std::unique_ptr<SimulatedService>> services;
        for (mode_t mask = first; mask < first + atOnce; ++mask) {
            services.push_back(
                std::make_unique<SimulatedService>(files / "linx" + std::to_string(mask)));
            services.back()->Quiet().Name("node1/SubtitleMgr");
            const mode_t before = umask(mask);
            services.back()->StartUnawaited();
            umask(before);
        }
        for (mode_t mask = first; mask < first + atOnce; ++mask) {
            SimulatedService& one = *services[mask - first];
            const std::string linx = files / "linx" + std::to_string(mask);
            one.Process().WaitForOutput("ready\n");
            EXPECT_EQ(StatusOf(linx).st_mode & 07777, 0700u) << std::oct << mask;
            EXPECT_EQ(StatusOf(linx + "/node1").st_mode & 07777, 0700u) << std::oct << mask;
            EXPECT_EQ(StatusOf(one.SocketPath()).st_mode & 07777, 0600u) << std::oct << mask;
        }
    }
}

}  // namespace
