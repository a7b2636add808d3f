#include "tap/output.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tap {

using Clock = std::chrono::steady_clock;

/// How long the end waits for a reader that does not take the rest of a line.
constexpr std::chrono::seconds patience{2};

Output::~Output()
{
    if (fd > STDERR_FILENO) {
        close(fd);
    }
}

bool Output::Open(const std::string& path)
{
    name = path.empty() ? name : path;
    fd = path.empty() ? STDOUT_FILENO
                      : open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY, 0666);
    struct stat file {};
    if (fd < 0 || fstat(fd, &file) != 0) {
        problem = name + ": " + std::strerror(errno);
        return false;
    }
    isFile = S_ISREG(file.st_mode);
    // Claimed as the service claims what it plays and records; standard output is not emptied.
    if (isFile && fd != STDOUT_FILENO && flock(fd, LOCK_EX | LOCK_NB) != 0 &&
        errno == EWOULDBLOCK) {
        problem = name + ": it is in use";
        return false;
    }
    return true;
}

bool Output::Begin()
{
    if (isFile && fd != STDOUT_FILENO && ftruncate(fd, 0) != 0) {
        problem = name + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

Output::State Output::Flush()
{
    std::size_t written = 0;
    std::size_t end = text.size();
    Clock::time_point giveUpAt = Clock::time_point::max();
    while (written < end) {
        const State state = WriteSome(written, end);
        if (state != State::Open) {
            return state;
        }
        if (written < end && Clock::now() > giveUpAt) {
            return GiveUp();
        }
        // Not asked while the output takes everything, so that the last lines are written too.
        if (written < end && giveUpAt == Clock::time_point::max() && isOver()) {
            const bool isLineBegun = written > 0 && text[written - 1] != '\n';
            end = isLineBegun ? text.find('\n', written) + 1 : written;
            giveUpAt = Clock::now() + patience;
        }
    }
    text.clear();
    return State::Open;
}

Output::State Output::WriteSome(std::size_t& written, std::size_t end)
{
    const ssize_t count = write(fd, text.data() + written, end - written);
    if (count >= 0) {
        written += static_cast<std::size_t>(count);
    } else if (errno == EAGAIN) {  // another program made the shared descriptor non-blocking
        pollfd room{fd, POLLOUT, 0};
        poll(&room, 1, 100);
    } else if (errno != EINTR) {
        return Fail(errno, written);
    }
    return State::Open;
}

Output::State Output::Look() const
{
    pollfd reader{fd, 0, 0};
    const bool isGone = poll(&reader, 1, 0) == 1 && (reader.revents & (POLLERR | POLLHUP)) != 0;
    return isGone ? State::Closed : State::Open;
}

Output::State Output::Fail(int error, std::size_t written)
{
    if (error == EPIPE) {
        return State::Closed;
    }
    const std::size_t newline = written == 0 ? 0 : text.rfind('\n', written - 1) + 1;
    CutOff(written - newline);
    problem = name + ": " + std::strerror(error) + "; it ends after the last whole line";
    return State::Failed;
}

Output::State Output::GiveUp()
{
    problem = name + ": is not read; its last line is not whole";
    return State::Failed;
}

/// Removes the part of a line that a file took before its disk was full.
void Output::CutOff(std::size_t count) const
{
    struct stat file {};
    if (!isFile || count == 0 || fstat(fd, &file) != 0) {
        return;
    }
    const off_t end = lseek(fd, 0, SEEK_CUR);
    const off_t lineStart = end - static_cast<off_t>(count);
    // Not if another program has appended to the file.
    if (file.st_size == end && ftruncate(fd, lineStart) == 0) {
        lseek(fd, lineStart, SEEK_SET);
    }
}

}  // namespace tap
