// Log entries for the system log. The test replaces its socket.

#include <LogClient.h>

#include "platform/src/descriptor.h"
#include "platform/src/log_sink.h"
#include "tests/harness/SmallDisk.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/forked.h"
#include "tests/harness/local_socket.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>
#include <vector>

using namespace platform;

namespace {

/// The path that replaces /dev/log; null for /dev/log itself.
const std::string* redirection = nullptr;

/// The call that fails next, and its error.
struct {
    const char* call = "";
    int error = 0;
} failure;

bool MustFail(const char* call)
{
    const bool isIt = std::strcmp(failure.call, call) == 0;
    if (isIt) {
        failure.call = "";
        errno = failure.error;
    }
    return isIt;
}

}  // namespace

extern "C" {

int __real_connect(int fd, const sockaddr* address, socklen_t size);
int __real_socket(int domain, int type, int protocol);
ssize_t __real_send(int fd, const void* bytes, std::size_t size, int flags);

// The linker sends the product's calls here.

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
    if (!redirection || std::strcmp(named->sun_path, "/dev/log") != 0) {
        return __real_connect(fd, address, size);
    }
    const sockaddr_un other = AddressOf(*redirection);
    return __real_connect(fd, reinterpret_cast<const sockaddr*>(&other), sizeof other);
}
}

namespace {

using Entries = std::vector<std::string>;

/// A system log that reads only when the test calls Received().
class LogSocket {
public:
    explicit LogSocket(const std::string& path) { EXPECT_TRUE(BindSocket(log.Get(), path)); }

    /// All unread entries.
    Entries Receive() const
    {
        Entries entries;
        char text[16384];
        for (ssize_t size; (size = recv(log.Get(), text, sizeof text, 0)) >= 0;) {
            entries.emplace_back(text, static_cast<std::size_t>(size));
        }
        return entries;
    }

private:
    const Descriptor log{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
};

class SystemLog : public testing::Test {
protected:
    SystemLog()
    {
        // This entry takes the report of entries that other tests lost.
        setenv("SUBTITLE_LOG", (folder / "earlier").c_str(), 1);
        LogClient::Instance().ProcessName("tool");
        Write("");
        redirection = &path;
        unsetenv("SUBTITLE_LOG");
    }
    ~SystemLog() override
    {
        redirection = nullptr;
        unsetenv("SUBTITLE_LOG");
    }

    static void Write(const std::string& text) { WriteLogEntry(logErrors, "tool", text); }

    /// The entries without time and program name.
    Entries Received() const
    {
        const std::string program = std::string(" ") + program_invocation_short_name + ": tool[" +
                                    std::to_string(getpid()) + "] ";
        Entries entries;
        for (const std::string& entry : log.Receive()) {
            const std::size_t text = std::min(entry.find(program), entry.size());
            entries.push_back(entry.substr(0, entry.find('>') + 1) +
                              entry.substr(std::min(text + program.size(), entry.size())));
        }
        return entries;
    }

    const TempDir folder;
    const std::string path = folder / "log";
    const std::string none = folder / "none";
    const LogSocket log{path};
};

TEST_F(SystemLog, GetsTheEntriesWhenNoFileIsNamed)
{
    Write("a file is missing");
    setenv("SUBTITLE_LOG", "", 1);
    WriteLogEntry(8, "tool", "50 %s\n");
    EXPECT_EQ(Received(), (Entries{"<11>level=2 a file is missing", "<13>level=8 50 %s\\x0a"}));
}

TEST_F(SystemLog, LeavesErrnoAsItWas)
{
    for (const std::string* place : {&path, &none}) {
        redirection = place;
        errno = EDOM;
        Write("text");
        EXPECT_EQ(errno, EDOM);
    }
}

/// Needs a private /dev. \return 0 when both entries are the same
int CompareWithSyslog()
{
    const LogSocket log("/dev/log");
    for (int attempt = 0; attempt < 10; ++attempt) {  // until both entries have the same second
        WriteLogEntry(logErrors, "tool", "text");
        syslog(LOG_ERR, "tool[%ld] level=%d text", static_cast<long>(getpid()), 2);
        const Entries entries = log.Receive();
        if (entries.size() != 2) {
            return 2;
        }
        if (entries[0] == entries[1]) {
            return 0;
        }
    }
    return 1;
}

TEST_F(SystemLog, GetsTheSameBytesAsFromSyslog)
{
    const SmallDisk disk("4k");
    if (!disk.IsMounted()) {
        GTEST_SKIP() << "only root can have a /dev of its own";
    }
    redirection = nullptr;
    EXPECT_EQ(StatusOfChild([] {
                  const bool isMounted = unshare(CLONE_NEWNS) == 0 &&
                                         mount("none", "/dev", "tmpfs", 0, "size=4k") == 0;
                  return isMounted ? CompareWithSyslog() : 3;
              }),
              0);
}

TEST_F(SystemLog, NeverBlocksAndGetsTheNumberLost)
{
    constexpr std::size_t many = 2000;
    for (std::size_t i = 0; i < many; ++i) {
        Write("text");
    }
    const std::size_t taken = Received().size();
    ASSERT_GT(taken, 0u);
    ASSERT_LT(taken, many - 1);
    Write("the next");
    // The sink kept one of them.
    EXPECT_EQ(Received(), (Entries{"<11>level=2 text",
                                   "<11>level=2 " + std::to_string(many - taken - 1) +
                                       " log entries were lost: it is not read",
                                   "<11>level=2 the next"}));
}

TEST_F(SystemLog, GetsTheNumberOfEntriesLostToACall)
{
    for (const char* call : {"socket", "connect", "send"}) {
        for (const int error : {EINTR, EAGAIN, EIO, ENOMEM, ENOBUFS, EMFILE, ECONNREFUSED}) {
            failure = {call, error};
            Write("first");
            Write("second");
            // A send() that is interrupted or finds no room loses nothing: the sink keeps the line.
            const bool isLost =
                std::strcmp(call, "send") != 0 || (error != EINTR && error != EAGAIN);
            const std::string first =
                isLost ? std::string("1 log entries were lost: ") +
                             (error == EAGAIN ? "it is not read" : std::strerror(error))
                       : "first";
            EXPECT_EQ(Received(), (Entries{"<11>level=2 " + first, "<11>level=2 second"})) << call;
        }
    }
}

}  // namespace
