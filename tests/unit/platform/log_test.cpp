#include <LogClient.h>
#include <SysLogMsg.h>

#include "platform/src/descriptor.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/local_socket.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

class LogFile : public testing::Test {
protected:
    LogFile()
    {
        LogClient::Instance().Level(63);
        LogClient::Instance().ProcessName("TheProcess");
        // This entry takes the report of entries that other tests lost.
        Use(folder / "earlier");
        Entry(2, "");
        Use(path);
    }
    ~LogFile() override { unsetenv("SUBTITLE_LOG"); }

    static void Use(const std::string& file) { setenv("SUBTITLE_LOG", file.c_str(), 1); }

    static void Entry(unsigned level, const std::string& text)
    {
        SysLogMsg entry;
        entry.Log(level, LogClient::Instance().ProcessName()) << text;
    }

    std::string Content() const { return ReadWholeFile(path); }

    /// \p text as the log entry shows it.
    std::string Shown(const std::string& text) const
    {
        unlink(path.c_str());
        Entry(2, text);
        const std::string content = Content();
        EXPECT_EQ(content.back(), '\n');
        const std::size_t start = content.find("level=2 ") + 8;
        return content.substr(start, content.size() - start - 1);
    }

    const TempDir folder;
    const std::string path = folder / "log";
};

TEST_F(LogFile, HoldsOneLineWithTheTimeInUtcForAnEntry)
{
    timespec before{};
    timespec after{};
    clock_gettime(CLOCK_REALTIME, &before);  // time() may return the second before
    Entry(2, "Error opening file x");
    clock_gettime(CLOCK_REALTIME, &after);
    Entry(8, "fine");
    const std::string start = R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z TheProcess\[)" +
                              std::to_string(getpid()) + R"(\] level=)";
    const std::regex form(start + "2 Error opening file x\n" + start + "8 fine\n");
    EXPECT_TRUE(std::regex_match(Content(), form)) << Content();
    tm parts{};
    ASSERT_TRUE(strptime(Content().c_str(), "%Y-%m-%dT%H:%M:%S", &parts)) << Content();
    const time_t made = timegm(&parts);
    EXPECT_GE(made, before.tv_sec);
    EXPECT_LE(made, after.tv_sec);
}

TEST_F(LogFile, EscapesInvalidUtf8AndControlCharacters)
{
    EXPECT_EQ(Shown(std::string("a\x1b[2J\n\x7f\x9b\x80", 9) + '\0' + "z\xC3\xA4"),
              "a\\x1b[2J\\x0a\\x7f\\x9b\\x80\\x00z\xC3\xA4");
    // The first and the last character of each length, and the neighbours of the surrogates.
    for (const char* valid :
         {"~", "\xC2\xA0", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
          "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(Shown(valid), valid);
    }
    const std::pair<const char*, const char*> rows[] = {
        {"\xC2\x9F", "\\xc2\\x9f"},  // a control character
        {"\xC1\xBF", "\\xc1\\xbf"},  // overlong
        {"\xE0\x9F\xBF", "\\xe0\\x9f\\xbf"},
        {"\xF0\x8F\xBF\xBF", "\\xf0\\x8f\\xbf\\xbf"},
        {"\xED\xA0\x80", "\\xed\\xa0\\x80"},  // surrogates
        {"\xED\xBF\xBF", "\\xed\\xbf\\xbf"},
        {"\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},  // above U+10FFFF
        {"\xF5\x80\x80\x80", "\\xf5\\x80\\x80\\x80"},
        {"\xC3\x1B[ \xE2\n\x82 \xE2\x82\r", "\\xc3\\x1b[ \\xe2\\x0a\\x82 \\xe2\\x82\\x0d"},  // cut
        {"\xF0\x90\x80|\xE2\x82", "\\xf0\\x90\\x80|\\xe2\\x82"},
    };
    for (const auto& [text, shown] : rows) {
        EXPECT_EQ(Shown(text), shown);
    }
}

TEST_F(LogFile, CutsAVeryLongText)
{
    EXPECT_TRUE(Shown(std::string(100000, 'x')) == std::string(8192, 'x') + "...");
}

TEST_F(LogFile, IsPrivateAndNeverOpenedThroughASymlink)
{
    const mode_t before = umask(0);
    Entry(2, "x");
    umask(before);
    struct stat found {};
    ASSERT_EQ(stat(path.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0600u);
    unlink(path.c_str());
    ASSERT_EQ(symlink((folder / "victim").c_str(), path.c_str()), 0);
    Entry(2, "x");
    EXPECT_NE(access((folder / "victim").c_str(), F_OK), 0);
}

TEST_F(LogFile, ReportsTheNumberOfLostEntries)
{
    Use(folder / "no/such/folder");
    Entry(2, "lost");
    EXPECT_FALSE(std::filesystem::exists(folder / "no"));
    Use("/dev/full");
    Entry(2, "lost");
    Use(path);
    Entry(2, "kept");
    Entry(2, "kept too");
    const std::regex entries(".*level=2 2 log entries were lost: No space left on device\n"
                             ".*level=2 kept\n.*level=2 kept too\n");
    EXPECT_TRUE(std::regex_match(Content(), entries)) << Content();
}

TEST_F(LogFile, MayBeAPipeWithoutAReader)
{
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    Entry(2, "x");  // must not wait for a reader
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    Entry(2, "x");
    char byte = 0;
    EXPECT_EQ(read(reader, &byte, 1), 0) << "the pipe was written to; SIGPIPE may end the program";
    close(reader);
}

TEST_F(LogFile, TakesWholeLinesFromTwoThreads)
{
    const std::string longText(3000, 'x');
    const auto writeMany = [&] {
        for (int i = 0; i < 500; ++i) {
            Entry(2, longText);
        }
    };
    std::thread other(writeMany);
    writeMany();
    other.join();
    std::istringstream content(Content());
    int lines = 0;
    for (std::string line; std::getline(content, line); ++lines) {
        ASSERT_TRUE(line.size() > 3001 && line.substr(line.size() - 3001) == " " + longText);
    }
    EXPECT_EQ(lines, 1000);
}

/// The path that replaces /dev/log; null for /dev/log itself.
const std::string* redirection = nullptr;

using Entries = std::vector<std::string>;

/// A system log that reads only when the test calls Received().
class SystemLog : public LogFile {
protected:
    SystemLog()
    {
        EXPECT_TRUE(BindSocket(log.Get(), socketPath));
        redirection = &socketPath;
        unsetenv("SUBTITLE_LOG");
    }
    ~SystemLog() override { redirection = nullptr; }

    /// The unread entries without the time and program name of syslog(3).
    Entries Received() const
    {
        const std::regex start(R"(^(<\d+>)[A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d )" +
                               std::string(program_invocation_short_name) + R"(: TheProcess\[)" +
                               std::to_string(getpid()) + R"(\] )");
        Entries entries;
        char text[16384];
        for (ssize_t size; (size = recv(log.Get(), text, sizeof text, 0)) >= 0;) {
            const std::string entry(text, static_cast<std::size_t>(size));
            entries.push_back(std::regex_replace(entry, start, "$1"));
        }
        return entries;
    }

    const std::string socketPath = folder / "socket";
    const std::string none = folder / "none";
    const platform::Descriptor log{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
};

TEST_F(SystemLog, GetsTheEntriesWhenNoFileIsNamed)
{
    Entry(2, "a file is missing");
    setenv("SUBTITLE_LOG", "", 1);
    Entry(8, "50 %s\n");
    EXPECT_EQ(Received(), (Entries{"<11>level=2 a file is missing", "<13>level=8 50 %s\\x0a"}));
}

TEST_F(SystemLog, LeavesErrnoAsItWas)
{
    for (const std::string* place : {&socketPath, &none}) {
        redirection = place;
        errno = EDOM;
        Entry(2, "text");
        EXPECT_EQ(errno, EDOM);
    }
}

TEST_F(SystemLog, NeverBlocksAndGetsTheNumberLost)
{
    constexpr std::size_t many = 2000;
    for (std::size_t i = 0; i < many; ++i) {
        Entry(2, "text");
    }
    const std::size_t taken = Received().size();
    ASSERT_GT(taken, 0u);
    ASSERT_LT(taken, many - 1);
    Entry(2, "the next");
    // The sink kept one of them.
    EXPECT_EQ(Received(), (Entries{"<11>level=2 text",
                                   "<11>level=2 " + std::to_string(many - taken - 1) +
                                       " log entries were lost: it is not read",
                                   "<11>level=2 the next"}));
}

TEST_F(SystemLog, GetsTheNumberOfEntriesLostWithoutIt)
{
    redirection = &none;
    Entry(2, "lost");
    Entry(2, "lost");
    redirection = &socketPath;
    Entry(2, "kept");
    EXPECT_EQ(Received(), (Entries{"<11>level=2 2 log entries were lost: No such file or directory",
                                   "<11>level=2 kept"}));
}

}  // namespace

extern "C" int __real_connect(int fd, const sockaddr* address, socklen_t size);

// The linker sends the product's calls here.
extern "C" int __wrap_connect(int fd, const sockaddr* address, socklen_t size)
{
    const auto* named = reinterpret_cast<const sockaddr_un*>(address);
    if (!redirection || std::strcmp(named->sun_path, "/dev/log") != 0) {
        return __real_connect(fd, address, size);
    }
    const sockaddr_un other = AddressOf(*redirection);
    return __real_connect(fd, reinterpret_cast<const sockaddr*>(&other), sizeof other);
}
