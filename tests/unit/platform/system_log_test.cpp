// Log entries for the system log. The test replaces its socket.

#include <LogClient.h>

#include "platform/src/descriptor.h"
#include "platform/src/log_sink.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/local_socket.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

using namespace platform;

namespace {

/// The path that replaces /dev/log; null for /dev/log itself.
const std::string* redirection = nullptr;

}  // namespace

extern "C" {

int __real_connect(int fd, const sockaddr* address, socklen_t size);

// The linker sends the product's calls here.
int __wrap_connect(int fd, const sockaddr* address, socklen_t size)
{
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

class SystemLog : public testing::Test {
protected:
    SystemLog()
    {
        EXPECT_TRUE(BindSocket(log.Get(), path));
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

    /// All unread entries, as the system log gets them.
    Entries Raw() const
    {
        Entries entries;
        char text[16384];
        for (ssize_t size; (size = recv(log.Get(), text, sizeof text, 0)) >= 0;) {
            entries.emplace_back(text, static_cast<std::size_t>(size));
        }
        return entries;
    }

    /// The entries without time and program name.
    Entries Received() const
    {
        const std::string program = std::string(" ") + program_invocation_short_name + ": tool[" +
                                    std::to_string(getpid()) + "] ";
        Entries entries;
        for (const std::string& entry : Raw()) {
            const std::size_t text = std::min(entry.find(program), entry.size());
            entries.push_back(entry.substr(0, entry.find('>') + 1) +
                              entry.substr(std::min(text + program.size(), entry.size())));
        }
        return entries;
    }

    const TempDir folder;
    const std::string path = folder / "log";
    const std::string none = folder / "none";
    const Descriptor log{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
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

/// The form of syslog(3).
TEST_F(SystemLog, GetsTheTimeAndTheProgramWithAnEntry)
{
    Write("text");
    const std::regex form(R"(<11>[A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d )" +
                          std::string(program_invocation_short_name) +
                          R"(: tool\[\d+\] level=2 text)");
    const Entries entries = Raw();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_TRUE(std::regex_match(entries[0], form)) << entries[0];
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

TEST_F(SystemLog, GetsTheNumberOfEntriesLostWithoutIt)
{
    redirection = &none;
    Write("lost");
    Write("lost");
    redirection = &path;
    Write("kept");
    EXPECT_EQ(Received(), (Entries{"<11>level=2 2 log entries were lost: No such file or directory",
                                   "<11>level=2 kept"}));
}

}  // namespace
