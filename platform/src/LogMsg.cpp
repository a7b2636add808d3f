#include <LogClient.h>
#include <LogMsg.h>
#include <SysLogMsg.h>

#include "platform/src/descriptor.h"
#include "platform/src/log_sink.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

using namespace platform;

namespace {

constexpr std::size_t longestText = 8192;

/// \return the length of the UTF-8 sequence of a character above U+009F at \p at, 0 when there is none
std::size_t SequenceAt(const std::string& text, std::size_t at)
{
    static constexpr unsigned smallest[] = {0, 0, 0xA0, 0x800, 0x10000};  // of a length; C1 is none
    const unsigned lead = static_cast<unsigned char>(text[at]);
    const std::size_t length = lead < 0xC0 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (length == 0 || lead >= 0xF8 || text.size() - at < length) {
        return 0;
    }
    unsigned character = lead & (0xFFu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        const unsigned next = static_cast<unsigned char>(text[at + i]);
        if ((next & 0xC0) != 0x80) {
            return 0;
        }
        character = character << 6 | (next & 0x3F);
    }
    const bool isSurrogate = character >= 0xD800 && character < 0xE000;
    return character < smallest[length] || character > 0x10FFFF || isSurrogate ? 0 : length;
}

/// Text as one line of valid UTF-8 without control characters, which could steer the terminal of a
/// reader of the log. Letters of other languages stay, every other byte outside ASCII is escaped.
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
            line += "\\x";
            line += digits[byte >> 4];
            line += digits[byte & 15];
        } else {
            line.append(text, i, length);
        }
        i += length == 0 ? 1 : length;
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
/// Not into a pipe: writing to one could wait for its reader, or end the program with SIGPIPE.
void AppendToFile(const char* path, const std::string& line)
{
    const int flags =
        O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
    const Descriptor file(open(path, flags, 0600));
    struct stat found {};
    if (!file || fstat(file.Get(), &found) != 0 || S_ISFIFO(found.st_mode)) {
        return;
    }
    WriteAll(file.Get(), line);  // what cannot be written is lost
}

void WriteWhereWanted(unsigned level, const std::string& processName, const std::string& text)
{
    const std::string line = Printable(text);
    const char* path = secure_getenv("SUBTITLE_LOG");
    if (path && *path) {
        AppendToFile(path, UtcNow() + " " + processName + "[" + std::to_string(getpid()) +
                               "] level=" + std::to_string(level) + " " + line + "\n");
    } else {
        syslog(level == logErrors ? LOG_ERR : LOG_NOTICE, "%s[%ld] level=%u %s",
               processName.c_str(), static_cast<long>(getpid()), level, line.c_str());
    }
}

}  // namespace

void platform::WriteLogEntry(unsigned level, const std::string& processName,
                             const std::string& text)
{
    const int keep = errno;
    try {
        WriteWhereWanted(level, processName, text);
    } catch (const std::bad_alloc&) {  // the entry is lost; who made it goes on
    }
    errno = keep;
}

void platform::LogFromLibrary(unsigned level, const std::string& text)
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

SysLogMsg::~SysLogMsg()
{
    try {
        WriteLogEntry(entryLevel, entryProcess, text.str());
    } catch (const std::bad_alloc&) {  // the entry is lost
    }
}
