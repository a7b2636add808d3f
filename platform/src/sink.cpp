#include "platform/src/sink.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

using namespace platform;

/// A write beyond the limit would raise SIGXFSZ, which ends a program by default.
static bool IsBeyondFileSizeLimit(off_t end)
{
    rlimit limit{};
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur < static_cast<rlim_t>(end);
}

void Sink::Put(std::string newLine)
{
    if (!Flush()) {
        Lose(line.empty() ? reason : EAGAIN);
        return;
    }
    line = std::move(newLine);
    lostWithLine = 1;
    WriteKept();
}

bool Sink::FlushLines()
{
    if (!WriteKept() || lost == 0 || !lossLine) {
        return line.empty();
    }
    try {
        line = lossLine(lost, Reason());
    } catch (const std::bad_alloc&) {
        return false;
    }
    lostWithLine = std::exchange(lost, 0);
    return WriteKept() && lost == 0;
}

/// \return false when there is no room for all of it
bool Sink::WriteKept()
{
    while (written < line.size()) {
        const ssize_t count = Examine() ? WriteSome() : -1;
        if (count > 0) {
            written += static_cast<std::size_t>(count);
        } else if (count == 0 || errno == EAGAIN) {
            return false;
        } else if (errno != EINTR) {
            reason = errno;
            if (!CutOff()) {
                return false;
            }
            lost += lostWithLine;
            break;
        }
    }
    line.clear();
    written = 0;
    return true;
}

/// Called before each write, because a standard descriptor may be given another file.
bool Sink::Examine()
{
    const struct stat before = file;
    if (fstat(fd, &file) != 0) {
        return false;
    }
    begin = written == 0 ? file.st_size : begin;
    if (file.st_dev == before.st_dev && file.st_ino == before.st_ino) {
        return true;
    }
    unshared = Descriptor();
    if (S_ISFIFO(file.st_mode) || S_ISCHR(file.st_mode)) {
        char path[32];
        std::snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
        unshared = Descriptor(open(path, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    }
    return true;
}

ssize_t Sink::WriteSome()
{
    const char* const rest = line.data() + written;
    const std::size_t size = line.size() - written;
    if (unshared) {
        return write(unshared.Get(), rest, size);
    }
    if (S_ISSOCK(file.st_mode)) {
        return send(fd, rest, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    if (S_ISREG(file.st_mode)) {
        if (!IsBeyondFileSizeLimit(begin + static_cast<off_t>(line.size()))) {
            return write(fd, rest, size);
        }
        errno = EFBIG;
        return -1;
    }
    // It could not be opened again: another user's, or no /proc. A pipe with room takes PIPE_BUF.
    pollfd room{fd, POLLOUT, 0};
    if (poll(&room, 1, 0) == 1) {
        return write(fd, rest, std::min<std::size_t>(size, PIPE_BUF));
    }
    errno = EAGAIN;
    return -1;
}

/// Removes the part of a line that a file took before its disk was full. \return whether it is gone
bool Sink::CutOff() const
{
    struct stat now {};
    if (written == 0 || !S_ISREG(file.st_mode)) {
        return true;
    }
    if (fstat(fd, &now) != 0) {
        return false;
    }
    if (now.st_size != begin + static_cast<off_t>(written)) {
        return true;  // another program has appended to it
    }
    if (ftruncate(fd, begin) != 0) {
        return false;
    }
    lseek(fd, begin, SEEK_SET);
    return true;
}
