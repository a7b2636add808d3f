#include "simulator/journal/recorder.h"

#include "simulator/commentary.h"
#include "simulator/journal/file_claim.h"
#include "simulator/journal/notification_line.h"

#include "recording/writer.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <unistd.h>
#include <utility>

using namespace platform;
using namespace sim;

namespace {

constexpr char notRead[] = "it is not read";

}  // namespace

bool Recorder::Start(const std::string& path, std::string& problem)
{
    const recording::Header header = NewHeader();
    // Non-blocking: a pipe without a reader is refused.
    constexpr int flags = O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
    Descriptor opened(open(path.c_str(), flags, 0666));
    if (!opened) {
        problem = "recording " + path + ": " + (errno == ENXIO ? notRead : std::strerror(errno));
        return false;
    }
    // EINVAL: it is no file and has nothing that could be removed.
    const char* const obstacle = !Claim(opened.Get(), Use::Records) ? "it is in use"
                                 : ftruncate(opened.Get(), 0) != 0 && errno != EINVAL
                                     ? std::strerror(errno)
                                     : nullptr;
    if (obstacle) {
        problem = "recording " + path + ": " + obstacle;
        return false;
    }
    Close();
    file = std::move(opened);
    isOn = true;
    Write(header);
    problem = isOn ? "" : "recording " + path + ": it takes no line";
    return isOn;
}

recording::Header Recorder::NewHeader() const
{
    return {recording::Now(), "SubtitleMgrSim " SUBTITLE_VERSION, service};
}

void Recorder::Add(const recording::Request& request)
{
    if (isOn) {
        Write(request);
    }
}

void Recorder::Record(const SharedFrame& frame, std::size_t receivers)
{
    if (!frame) {
        End(std::strerror(ENOMEM));
    } else {
        recording::Notification notification = LineOf(frame);
        notification.at = recording::Now();
        notification.receivers = static_cast<unsigned int>(receivers);
        Write(notification);
    }
}

template <typename Line>
void Recorder::Write(const Line& line)
{
    if (lines.size() - written > mostUnwritten) {
        End(notRead);
        return;
    }
    const std::size_t size = lines.size();
    try {
        AppendLine(lines, line);
    } catch (const std::bad_alloc&) {
        lines.resize(size);
        End(std::strerror(ENOMEM));
    }
    Flush();
}

void Recorder::Flush()
{
    while (written < lines.size()) {
        const ssize_t count = write(file.Get(), &lines[written], lines.size() - written);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
        } else if (errno == EAGAIN) {
            if (written > mostUnwritten) {
                lines.erase(0, std::exchange(written, 0));
            }
            return;
        } else if (errno != EINTR) {
            End(std::strerror(errno));
            CutOff();
            file = Descriptor();
            break;
        }
    }
    lines.clear();
    written = 0;
}

void Recorder::End(const char* reason)
{
    isOn = false;
    Say("the recording is not complete: ", reason);
}

/// Removes the part of a line that a file took before its disk was full.
void Recorder::CutOff() const
{
    const std::size_t newline = written == 0 ? std::string::npos : lines.rfind('\n', written - 1);
    const auto part = static_cast<off_t>(written - (newline + 1));
    const off_t end = lseek(file.Get(), 0, SEEK_CUR);
    if (part > 0 && end >= part && ftruncate(file.Get(), end - part) == 0) {
        lseek(file.Get(), end - part, SEEK_SET);
    }
}

int Recorder::Settle()
{
    constexpr int retryMs = 20;  // a pipe holds few lines
    Flush();
    if (lines.empty() && !isOn) {
        file = Descriptor();
    }
    return lines.empty() ? -1 : retryMs;
}

void Recorder::Close()
{
    Flush();
    if (!lines.empty()) {
        End(notRead);
    }
    lines.clear();
    written = 0;
    isOn = false;
    file = Descriptor();
}
