#include <LogClient.h>
#include <LogMsg.h>
#include <SysLogMsg.h>

#include "platform/src/descriptor.h"
#include "platform/src/line_limit.h"
#include "platform/src/log_sink.h"
#include "platform/src/sink.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <mutex>
#include <new>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

using namespace platform;

namespace {

constexpr std::size_t longestText = 8192;

/// \return the length of the UTF-8 sequence of a character above U+009F at \p at; 0 for none
std::size_t SequenceAt(const std::string& text, std::size_t at)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[at + i]); };
    const unsigned lead = byte(0);
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (lead < 0xC2 || lead > 0xF4 || text.size() - at < length) {
        return 0;
    }
    // These limits exclude control characters, overlong forms, surrogates and all above U+10FFFF.
    const unsigned least = lead == 0xC2 || lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    bool isValid = byte(1) >= least && byte(1) <= most;
    for (std::size_t i = 2; i < length; ++i) {
        isValid = isValid && (byte(i) & 0xC0) == 0x80;
    }
    return isValid ? length : 0;
}

/// Text as one line of valid UTF-8 without control characters, which could change the terminal that
/// shows the log. Letters of other languages stay, every other byte outside ASCII is escaped.
std::string Printable(const std::string& text)
{
    static const char digits[] = "0123456789abcdef";
    std::string line;
    for (std::size_t i = 0; i < text.size();) {
        if (line.size() >= longestText) {
            return line + "...";
        }
        const unsigned byte = static_cast<unsigned char>(text[i]);
        const std::size_t length = byte >= 0x20 && byte < 0x7F ? 1 : SequenceAt(text, i);
        if (length == 0) {
            line += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
        } else {
            line.append(text, i, length);
        }
        i += length == 0 ? 1 : length;
    }
    return line;
}

const char* LogFile()
{
    const char* path = secure_getenv("SUBTITLE_LOG");
    return path && *path ? path : nullptr;
}

/// A line that starts like `2026-01-31T12:00:00.250Z`, or for the system log a record that starts
/// like `<11>Jan 31 12:00:00` in local time.
std::string Entry(unsigned level, const std::string& processName, const std::string& text)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    char time[48];
    const std::string entry = processName + "[" + std::to_string(getpid()) +
                              "] level=" + std::to_string(level) + " " + Printable(text);
    if (LogFile()) {
        const std::size_t length =
            std::strftime(time, sizeof time, "%Y-%m-%dT%H:%M:%S", gmtime_r(&now.tv_sec, &parts));
        const int milliseconds = static_cast<int>(now.tv_nsec / 1000000);
        std::snprintf(time + length, sizeof time - length, ".%03dZ ", milliseconds);
        return time + entry + "\n";
    }
    std::strftime(time, sizeof time, "%b %e %T", localtime_r(&now.tv_sec, &parts));
    const int priority = LOG_USER | (level == logErrors ? LOG_ERR : LOG_NOTICE);
    return "<" + std::to_string(priority) + ">" + time + " " + program_invocation_short_name +
           ": " + entry;
}

/// An error entry of the messaging library.
std::string OwnEntry(const std::string& text)
{
    return Entry(logErrors, LogClient::Instance().ProcessName(), text);
}

/// Opened for each entry, so that a log file which was moved away or removed is made anew.
/// A pipe is refused: if its reader ended, SIGPIPE would end the program.
Descriptor OpenFile(const char* path)
{
    const int flags =
        O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
    Descriptor file(open(path, flags, 0600));
    struct stat found {};
    if (file && fstat(file.Get(), &found) == 0 && S_ISFIFO(found.st_mode)) {
        errno = ENXIO;
        return Descriptor();
    }
    return file;
}

/// Not through syslog(3), which waits for a full socket.
Descriptor OpenSystemLog()
{
    Descriptor log(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address{AF_UNIX, _PATH_LOG};
    if (log &&
        connect(log.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return Descriptor();
    }
    return log;
}

/// Shared by all threads.
struct Log {
    template <typename MakeEntry>
    void Write(const MakeEntry& makeEntry)
    {
        const int keep = errno;
        const char* const path = LogFile();
        const Descriptor target = path ? OpenFile(path) : OpenSystemLog();
        if (target) {
            sink.Use(target.Get());
            sink.Write(makeEntry);
        } else {
            sink.Lose(errno);
        }
        errno = keep;
    }

    void ReportHeldBack(bool all)
    {
        limit.Report(all, [&](const char* kind, unsigned count) {
            Write([&] { return OwnEntry(LineLimit::MoreLikeThese(kind, count)); });
        });
    }

    std::mutex mutex;
    Sink sink{[](unsigned lost, const char* reason) {
        return OwnEntry(std::to_string(lost) + " log entries were lost: " + reason);
    }};
    LineLimit limit;
    std::atomic<bool> hasHeldBack{false};  ///< never reset; read at each Receive()
};

/// Never destroyed, like LogClient.
Log& TheLog()
{
    alignas(Log) static unsigned char place[sizeof(Log)];
    static Log& log = *new (place) Log;
    return log;
}

}  // namespace

void platform::WriteLogEntry(unsigned level, const std::string& processName,
                             const std::string& text)
{
    const std::lock_guard<std::mutex> lock(TheLog().mutex);
    TheLog().Write([&] { return Entry(level, processName, text); });
}

std::string platform::LogPlace() { return LogFile() ? LogFile() : _PATH_LOG; }

int platform::TryLog(const std::string& processName, const std::string& text)
{
    constexpr unsigned notes = 8;
    WriteLogEntry(notes, processName, text);
    const std::lock_guard<std::mutex> lock(TheLog().mutex);
    return TheLog().sink.Error();
}

void platform::LogFromLibrary(const std::string& text, const char* kind)
{
    if ((LogClient::Instance().Level() & logErrors) == 0) {
        return;
    }
    const std::lock_guard<std::mutex> lock(TheLog().mutex);
    TheLog().ReportHeldBack(false);
    if (!kind || TheLog().limit.Admits(kind)) {
        TheLog().Write([&] { return OwnEntry(text); });
    } else {
        TheLog().hasHeldBack = true;
    }
}

void platform::LogHeldBack(bool all)
{
    if (TheLog().hasHeldBack) {
        const std::lock_guard<std::mutex> lock(TheLog().mutex);
        TheLog().ReportHeldBack(all);
    }
}

LogMsg::~LogMsg() = default;

std::ostream& LogMsg::Log(unsigned level, const std::string& processName)
{
    entryLevel = level;
    entryProcess = processName;
    return text;
}

SysLogMsg::~SysLogMsg()
{
    try {
        WriteLogEntry(entryLevel, entryProcess, text.str());
    } catch (const std::bad_alloc&) {  // the entry is lost
    }
}
