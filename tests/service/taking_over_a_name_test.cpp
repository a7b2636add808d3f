// One service per name: which service gets it, and what happens to a file at the socket's path.

#include "tests/harness/local_socket.h"
#include "tests/service/SimulatorSession.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <utility>

namespace {

struct stat StatusOf(const std::string& path)
{
    struct stat found {};
    EXPECT_EQ(lstat(path.c_str(), &found), 0) << path;
    return found;
}

unsigned int ModeOf(const std::string& path) { return StatusOf(path).st_mode & 07777; }

class ServiceName : public SimulatorSession {
protected:
    /// Expects that a new service ends with this reason and that the socket stays.
    void ExpectRefused(const std::string& reason) const
    {
        const struct stat before = StatusOf(service.SocketPath());
        const Ended ended = RunToEnd({});
        EXPECT_EQ(ended.status, 1);
        EXPECT_EQ(ended.output, "");
        EXPECT_EQ(ended.errors, "SubtitleMgrSim: " + service.SocketPath() + reason + "\n");
        const struct stat after = StatusOf(service.SocketPath());
        EXPECT_EQ(after.st_ino, before.st_ino);
        EXPECT_EQ(after.st_mode, before.st_mode);
        EXPECT_EQ(after.st_size, before.st_size);
    }
};

constexpr char isInUse[] = ": another service runs under this name";
constexpr char answers[] = ": answers already; left as it is";

TEST_F(ServiceName, RefusesASecondService)
{
    service.Start();
    WireClient early = Connect();
    ExpectRefused(isInUse);
    EXPECT_EQ(early.Ask(messages::ping), "");
    EXPECT_EQ(Connect().Ask(messages::ping), "");
}

TEST_F(ServiceName, IsTakenOverFromAKilledService)
{
    service.Start();
    for (int round = 0; round < 3; ++round) {
        service.Kill();
        ASSERT_TRUE(std::filesystem::is_socket(service.SocketPath()));
        service.Start();
        ASSERT_EQ(Connect().Ask(messages::ping), "");
    }
}

TEST_F(ServiceName, GoesToOneOfTenServicesAtOnce)
{
    service.Start();
    service.Kill();
    std::vector<std::unique_ptr<ChildProcess>> all;
    for (int i = 0; i < 10; ++i) {
        all.push_back(Launch({}));
    }
    ChildProcess* survivor = nullptr;
    for (const auto& one : all) {
        try {
            one->WaitForOutput("ready\n");
            EXPECT_EQ(survivor, nullptr) << "two services of one name";
            survivor = one.get();
        } catch (const std::runtime_error&) {
            EXPECT_EQ(one->WaitForExit(), 1);
            EXPECT_NE(one->Errors().find(isInUse), std::string::npos) << one->Errors();
        }
    }
    ASSERT_NE(survivor, nullptr);
    Terminate(*survivor);
}

using OtherFile = ServiceName;

TEST_F(OtherFile, StaysAndRefusesTheService)
{
    const std::string path = service.SocketPath();
    const RawService killed(path + ".other");
    for (const std::function<void()>& make :
         {std::function<void()>([&] { WriteWholeFile(path, "precious"); }),
          std::function<void()>([&] { mkdir(path.c_str(), 0700); }),
          std::function<void()>([&] { mkfifo(path.c_str(), 0600); }),
          std::function<void()>([&] { std::filesystem::create_symlink(path + ".other", path); })}) {
        make();
        ExpectRefused(": is there already and not a socket; left as it is");
        EXPECT_FALSE(std::filesystem::exists(LockPath()));
        std::filesystem::remove(path);
    }
}

/// Fills the listen backlog of the socket at \p path with connections.
std::vector<Descriptor> FillBacklog(const std::string& path)
{
    std::vector<Descriptor> connected;
    int error = 0;
    while (error == 0) {
        Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        error = ConnectSocket(fd.Get(), path) ? 0 : errno;
        connected.push_back(std::move(fd));
    }
    EXPECT_EQ(error, EAGAIN);
    return connected;
}

/// Like a socket of `ssh -L`: it answers, and there is no lock file.
using SocketWithoutLock = ServiceName;

TEST_F(SocketWithoutLock, StaysWhenItAnswers)
{
    const RawService forwarded(service.SocketPath());
    ExpectRefused(answers);
    EXPECT_TRUE(forwarded.HasClient());
    EXPECT_FALSE(std::filesystem::exists(LockPath()));
}

TEST_F(SocketWithoutLock, StaysWhenItsBacklogIsFull)
{
    const RawService forwarded(service.SocketPath());
    const std::vector<Descriptor> waiting = FillBacklog(service.SocketPath());
    ExpectRefused(answers);
}

using RemovedLock = ServiceName;

TEST_F(RemovedLock, LetsNoOtherServiceTakeTheName)
{
    service.Start();
    std::filesystem::remove(LockPath());
    for (int i = 0; i < 2; ++i) {
        ExpectRefused(answers);
        EXPECT_EQ(Connect().Ask(messages::ping), "");
    }
    service.Stop();
    EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
}

TEST_F(RemovedLock, KeepsTheSecondServiceWhenTheFirstEnds)
{
    service.Start();
    std::filesystem::remove(LockPath());
    std::filesystem::remove(service.SocketPath());
    std::filesystem::remove(service.SocketPath() + ".control");
    const auto second = Launch({"--quiet"});
    second->WaitForOutput("ready\n");
    const ino_t socket = StatusOf(service.SocketPath()).st_ino;
    const ino_t lock = StatusOf(LockPath()).st_ino;
    service.Stop();
    EXPECT_EQ(StatusOf(service.SocketPath()).st_ino, socket);
    EXPECT_EQ(StatusOf(LockPath()).st_ino, lock);
    EXPECT_EQ(Connect().Ask(messages::ping), "");
    ExpectRefused(isInUse);
    Terminate(*second);
}

TEST_F(ServiceName, IsPrivateUnderEveryUmask)
{
    for (const mode_t mask : {0u, 022u, 0177u, 0777u}) {
        const std::string linx = files / "linx" + std::to_string(mask);
        SimulatedService one(linx);
        one.Quiet().Name("node1/SubtitleMgr");
        const mode_t before = umask(mask);
        one.Start();
        umask(before);
        EXPECT_EQ(ModeOf(linx), 0700u) << std::oct << mask;
        EXPECT_EQ(ModeOf(linx + "/node1"), 0700u) << std::oct << mask;
        EXPECT_EQ(ModeOf(one.SocketPath()), 0600u) << std::oct << mask;
        EXPECT_EQ(ModeOf(one.SocketPath() + ".lock"), 0600u) << std::oct << mask;
        EXPECT_EQ(ModeOf(one.SocketPath() + ".control"), 0600u) << std::oct << mask;
    }
}

}  // namespace
