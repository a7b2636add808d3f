// Log entries that go to the machine's log. This program has a syslog() of its own, which tells what
// it was given.

#include "platform/src/log_sink.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

using namespace platform;

namespace {

struct Entry {
    int priority;
    std::string text;
};

std::vector<Entry>& Entries()
{
    static std::vector<Entry> entries;
    return entries;
}

[[gnu::format(printf, 2, 0)]] void Take(int priority, const char* format, va_list arguments)
{
    char text[16384];
    std::vsnprintf(text, sizeof text, format, arguments);
    Entries().push_back({priority, text});
    errno = EIO;  // the real one may set it as well
}

}  // namespace

extern "C" {

[[gnu::format(printf, 2, 3)]] void syslog(int priority, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    Take(priority, format, arguments);
    va_end(arguments);
}

/// What syslog() is where the C library checks the lengths of buffers.
[[gnu::format(printf, 3, 4)]] void __syslog_chk(int priority, int, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    Take(priority, format, arguments);
    va_end(arguments);
}
}

namespace {

constexpr int errorPriority = 3;   // LOG_ERR; <syslog.h> would bring a syslog() of its own
constexpr int noticePriority = 5;  // LOG_NOTICE

class TheSystemLog : public testing::Test {
protected:
    TheSystemLog() { Entries().clear(); }
    ~TheSystemLog() override { unsetenv("SUBTITLE_LOG"); }

    static std::string Start(const std::string& process)
    {
        return process + "[" + std::to_string(getpid()) + "] level=";
    }
};

TEST_F(TheSystemLog, GetsTheEntriesWhenNoFileIsNamed)
{
    unsetenv("SUBTITLE_LOG");
    WriteLogEntry(logErrors, "tool", "a file is missing");
    WriteLogEntry(logNotes, "tool", "50 %s\n");
    ASSERT_EQ(Entries().size(), 2u);
    EXPECT_EQ(Entries()[0].priority, errorPriority);
    EXPECT_EQ(Entries()[0].text, Start("tool") + "2 a file is missing");
    EXPECT_EQ(Entries()[1].priority, noticePriority);
    EXPECT_EQ(Entries()[1].text, Start("tool") + "8 50 %s\\x0a");
}

TEST_F(TheSystemLog, GetsTheEntriesWhenTheFilesNameIsEmpty)
{
    setenv("SUBTITLE_LOG", "", 1);
    WriteLogEntry(logErrors, "tool", "text");
    EXPECT_EQ(Entries().size(), 1u);
}

TEST_F(TheSystemLog, LeavesErrnoAsItWas)
{
    unsetenv("SUBTITLE_LOG");
    errno = ENOENT;
    WriteLogEntry(logErrors, "tool", "text");
    EXPECT_EQ(errno, ENOENT);
}

}  // namespace
