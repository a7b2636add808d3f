#include <LogClient.h>
#include <LogMsg.h>
#include <SysLogMsg.h>

#include "descriptor.h"
#include "log_sink.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

namespace {

constexpr std::size_t longestText = 8192;

/// Text as one line without control bytes: those of the C0 and C1 ranges and DEL could steer the
/// terminal of whoever reads the log.
std::string Printable(const std::string& text)
{
    static const char digits[] = "0123456789abcdef";
    std::string line;
    for (const char c : text) {
        if (line.size() >= longestText) {
            return line + "...";
        }
        const unsigned byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || (byte >= 0x7F && byte < 0xA0)) {
            line += "\\x";
            line += digits[byte >> 4];
            line += digits[byte & 15];
        } else {
            line += c;
        }
    }
    return line;
}

/// Like 2026-01-31T12:00:00.250Z.
std::string UtcNow()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    const time_t seconds = now.tv_sec;
    gmtime_r(&seconds, &parts);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &parts);
    char text[48];
    std::snprintf(text, sizeof text, "%s.%03ldZ", date, static_cast<long>(now.tv_nsec / 1000000));
    return text;
}

/// Opened for each entry, so that a log file which was moved away or removed is made anew.
/// Non-blocking, so that a pipe that nobody reads costs the entry and not the program.
void AppendToFile(const char* path, const std::string& line)
{
    const Descriptor file(
        open(path, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY,
             0600));
    ssize_t written;
    do {
        written = write(file.Get(), line.data(), line.size());
    } while (written < 0 && errno == EINTR);
}

}  // namespace

void WriteLogEntry(unsigned level, const std::string& processName, const std::string& text)
{
    const int keep = errno;
    const std::string line = Printable(text);
    const char* path = secure_getenv("SUBTITLE_LOG");
    if (path && *path) {
        AppendToFile(path, UtcNow() + " " + processName + "[" + std::to_string(getpid()) +
                               "] level=" + std::to_string(level) + " " + line + "\n");
    } else {
        syslog(level == logErrors ? LOG_ERR : LOG_NOTICE, "%s[%ld] level=%u %s",
               processName.c_str(), static_cast<long>(getpid()), level, line.c_str());
    }
    errno = keep;
}

void LogFromLibrary(unsigned level, const std::string& text)
{
    LogClient& client = LogClient::Instance();
    if (!text.empty() && (client.Level() & level) != 0) {
        WriteLogEntry(level, client.ProcessName(), text);
    }
}

LogMsg::~LogMsg() = default;

std::ostream& LogMsg::Log(unsigned level, const std::string& processName)
{
    entryLevel = level;
    entryProcess = processName;
    return text;
}

SysLogMsg::~SysLogMsg() { WriteLogEntry(entryLevel, entryProcess, text.str()); }
