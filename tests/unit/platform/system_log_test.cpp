// Log entries that go to the machine's log. Its socket is one of the test's.

#include "platform/src/descriptor.h"
#include "platform/src/log_sink.h"
#include "tests/harness/SmallDisk.h"
#include "tests/harness/TempDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <regex>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>
#include <vector>

using namespace platform;

namespace {

/// Where /dev/log leads; empty for nowhere else.
std::string& Redirection()
{
    static std::string path;
    return path;
}

/// The call that fails next, and with what.
struct {
    const char* call = "";
    int error = 0;
} failure;

bool MustFail(const char* call)
{
    if (std::strcmp(failure.call, call) != 0) {
        return false;
    }
    failure.call = "";
    errno = failure.error;
    return true;
}

sockaddr_un AddressOf(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

}  // namespace

extern "C" {

int __real_connect(int fd, const sockaddr* address, socklen_t size);
int __real_socket(int domain, int type, int protocol);
ssize_t __real_send(int fd, const void* bytes, std::size_t size, int flags);

// The product's calls come by here.

int __wrap_socket(int domain, int type, int protocol)
{
    return MustFail("socket") ? -1 : __real_socket(domain, type, protocol);
}

ssize_t __wrap_send(int fd, const void* bytes, std::size_t size, int flags)
{
    return MustFail("send") ? -1 : __real_send(fd, bytes, size, flags);
}

int __wrap_connect(int fd, const sockaddr* address, socklen_t size)
{
    if (MustFail("connect")) {
        return -1;
    }
    const auto* named = reinterpret_cast<const sockaddr_un*>(address);
    if (Redirection().empty() || std::strcmp(named->sun_path, "/dev/log") != 0) {
        return __real_connect(fd, address, size);
    }
    const sockaddr_un other = AddressOf(Redirection());
    return __real_connect(fd, reinterpret_cast<const sockaddr*>(&other), sizeof other);
}
}

namespace {

Descriptor ListenAt(const std::string& path)
{
    Descriptor log(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_un address = AddressOf(path);
    EXPECT_EQ(bind(log.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return log;
}

/// All entries that wait to be read.
std::vector<std::string> Receive(const Descriptor& log)
{
    std::vector<std::string> entries;
    char text[16384];
    for (ssize_t size; (size = recv(log.Get(), text, sizeof text, 0)) >= 0;) {
        entries.emplace_back(text, static_cast<std::size_t>(size));
    }
    return entries;
}

class TheSystemLog : public testing::Test {
protected:
    TheSystemLog()
    {
        // What other tests have lost is told before the next entry.
        setenv("SUBTITLE_LOG", (folder / "earlier").c_str(), 1);
        WriteLogEntry(logErrors, "tool", "");
        Redirection() = folder / "log";
        unsetenv("SUBTITLE_LOG");
    }
    ~TheSystemLog() override
    {
        Redirection().clear();
        unsetenv("SUBTITLE_LOG");
    }

    /// The entry without its time.
    static std::string WithoutTime(const std::string& entry)
    {
        static const std::regex time(
            "^(<\\d+>)[A-Z][a-z]{2} [ 123]\\d [012]\\d:[0-5]\\d:[0-6]\\d ");
        return std::regex_replace(entry, time, "$1");
    }

    static std::string Start(const std::string& priority)
    {
        return "<" + priority + ">" + program_invocation_short_name + ": tool[" +
               std::to_string(getpid()) + "] level=";
    }

    const TempDir folder;
    const Descriptor log = ListenAt(folder / "log");
};

TEST_F(TheSystemLog, GetsTheEntriesWhenNoFileIsNamed)
{
    WriteLogEntry(logErrors, "tool", "a file is missing");
    WriteLogEntry(8, "tool", "50 %s\n");
    const std::vector<std::string> entries = Receive(log);
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(WithoutTime(entries[0]), Start("11") + "2 a file is missing");
    EXPECT_EQ(WithoutTime(entries[1]), Start("13") + "8 50 %s\\x0a");
}

TEST_F(TheSystemLog, GetsTheEntriesWhenTheFilesNameIsEmpty)
{
    setenv("SUBTITLE_LOG", "", 1);
    WriteLogEntry(logErrors, "tool", "text");
    EXPECT_EQ(Receive(log).size(), 1u);
}

TEST_F(TheSystemLog, LeavesErrnoAsItWas)
{
    errno = ENOENT;
    WriteLogEntry(logErrors, "tool", "text");
    EXPECT_EQ(errno, ENOENT);
    Redirection() = folder / "none";
    WriteLogEntry(logErrors, "tool", "text");
    EXPECT_EQ(errno, ENOENT);
}

/// Where a test program has a /dev of its own. \return 0 when both entries are the same
int CompareWithSyslog()
{
    const Descriptor log = ListenAt("/dev/log");
    for (int attempt = 0; attempt < 10; ++attempt) {  // both in one second
        WriteLogEntry(logErrors, "tool", "text");
        syslog(LOG_ERR, "tool[%ld] level=%d text", static_cast<long>(getpid()), 2);
        const std::vector<std::string> entries = Receive(log);
        if (entries.size() != 2) {
            return 2;
        }
        if (entries[0] == entries[1]) {
            return 0;
        }
    }
    return 1;
}

TEST_F(TheSystemLog, GetsTheBytesThatSyslogMakes)
{
    const SmallDisk disk("4k");
    if (!disk.IsMounted()) {
        GTEST_SKIP() << "only root can have a /dev of its own";
    }
    Redirection().clear();
    const pid_t child = fork();
    if (child == 0) {
        const bool isMounted =
            unshare(CLONE_NEWNS) == 0 && mount("none", "/dev", "tmpfs", 0, "size=4k") == 0;
        _exit(isMounted ? CompareWithSyslog() : 3);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << "exit status " << WEXITSTATUS(status);
}

TEST_F(TheSystemLog, IsNotWaitedForAndGetsTheNumberOfEntriesThatWereLost)
{
    constexpr std::size_t many = 2000;
    for (std::size_t i = 0; i < many; ++i) {
        WriteLogEntry(logErrors, "tool", "text");
    }
    const std::size_t taken = Receive(log).size();
    ASSERT_GT(taken, 0u);
    ASSERT_LT(taken, many - 1);
    WriteLogEntry(logErrors, "tool", "the next");
    const std::vector<std::string> entries = Receive(log);
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(WithoutTime(entries[0]), Start("11") + "2 text");  // one is kept
    EXPECT_NE(entries[1].find("level=2 " + std::to_string(many - taken - 1) +
                              " log entries were lost: it is not read"),
              std::string::npos)
        << entries[1];
    EXPECT_EQ(WithoutTime(entries[2]), Start("11") + "2 the next");
}

/// Of one that is interrupted, or has no room, nothing is seen.
TEST_F(TheSystemLog, CountsAnEntryThatIsLostToAFailedCall)
{
    for (const char* call : {"socket", "connect", "send"}) {
        for (const int error : {EINTR, EAGAIN, EIO, ENOMEM, ENOBUFS, EMFILE, ECONNREFUSED}) {
            failure = {call, error};
            WriteLogEntry(logErrors, "tool", "first");
            WriteLogEntry(logErrors, "tool", "second");
            const bool isSeen =
                std::strcmp(call, "send") != 0 || (error != EINTR && error != EAGAIN);
            const std::vector<std::string> entries = Receive(log);
            SCOPED_TRACE(std::string(call) + ": " + std::strerror(error));
            ASSERT_EQ(entries.size(), 2u);
            EXPECT_NE(entries[0].find(isSeen ? " 1 log entries were lost: " : " first"),
                      std::string::npos)
                << entries[0];
            EXPECT_EQ(WithoutTime(entries[1]), Start("11") + "2 second");
        }
    }
}

TEST_F(TheSystemLog, MayBeAbsent)
{
    Redirection() = folder / "none";
    WriteLogEntry(logErrors, "tool", "text");
    Redirection() = folder / "log";
    WriteLogEntry(logErrors, "tool", "text");
    const std::vector<std::string> entries = Receive(log);
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_NE(entries[0].find(" 1 log entries were lost: No such file or directory"),
              std::string::npos)
        << entries[0];
}

}  // namespace
