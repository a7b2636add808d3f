#include "platform/src/link.h"

#include <algorithm>
#include <new>
#include <sys/socket.h>
#include <sys/time.h>

using namespace platform;

void Reader::ReadOrWait(Lock& lock, const Deadline& deadline)
{
    if (reading) {
        link.state.WaitForChange(lock, deadline);
    } else {
        Read(lock, deadline.RemainingMs());
    }
}

void Reader::ReadWhatIsThere(Lock& lock)
{
    if (!reading) {
        Read(lock, 0);
    }
}

/// Sorts what an earlier call left, else what comes within \p waitMs milliseconds, -1 without
/// limit.
void Reader::Read(Lock& lock, int waitMs)
{
    const auto role = link.state.Take(reading);
    if (!Sort(lock)) {
        ReadSocket(lock, waitMs);
        Sort(lock);
    }
}

void Reader::ReadSocket(Lock& lock, int waitMs)
{
    std::size_t size = 0;
    unsigned char* const room = input.Room(size);
    if (!room) {
        link.Lose();
        throw std::bad_alloc();
    }
    ssize_t count = 0;
    int error = 0;
    {
        const auto unlocked = Unlocked(lock);
        LimitReading(waitMs);
        count = recv(link.socket.Get(), room, size, waitMs == 0 ? MSG_DONTWAIT : 0);
        error = errno;
    }
    // After a loss, what was read would mix with what the next link brings.
    if (count > 0 && link.isOpen) {
        input.Received(static_cast<std::size_t>(count));
    } else if (count == 0 || (error != EINTR && error != EAGAIN)) {
        link.Lose();
    }
}

/// A blocking read with a limit costs one call, poll() before a read two. The limit seldom changes,
/// because the same waits come again and again.
void Reader::LimitReading(int waitMs)
{
    if (waitMs == 0 || waitMs == readLimitMs) {
        return;
    }
    const int ms = std::max(waitMs, 0);
    const timeval limit{ms / 1000, ms % 1000 * 1000};
    setsockopt(link.socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    readLimitMs = waitMs;
}
