#include "platform/src/link.h"

#include <algorithm>
#include <new>
#include <sys/socket.h>
#include <sys/time.h>

using namespace platform;

/// Long enough to reach the end of a closed connection, unless its other side is only half gone.
constexpr int restLimitMs = 100;

void Link::Lose()
{
    if (isOpen) {
        isOpen = false;
        shutdown(socket.Get(), SHUT_RDWR);
        state.changed.notify_all();
    }
}

void Link::ReadOrWait(Lock& lock, const Deadline& deadline)
{
    if (reading) {
        state.WaitForChange(lock, deadline);
    } else {
        Read(lock, deadline.RemainingMs());
    }
}

/// Sorts what an earlier call left, else what comes within \p waitMs milliseconds, -1 without
/// limit.
void Link::Read(Lock& lock, int waitMs)
{
    const auto role = state.Take(reading);
    if (!Sort(lock)) {
        ReadSocket(lock, waitMs);
        Sort(lock);
    }
}

void Link::ReadSocket(Lock& lock, int waitMs)
{
    std::size_t size = 0;
    unsigned char* const room = input.Room(size);
    if (!room) {
        Lose();
        throw std::bad_alloc();
    }
    ssize_t count = 0;
    int error = 0;
    {
        const auto unlocked = Unlocked(lock);
        LimitReading(waitMs);
        count = recv(socket.Get(), room, size, waitMs == 0 ? MSG_DONTWAIT : 0);
        error = errno;
    }
    // After a loss, what was read would get in between what the next connection brings.
    if (count > 0 && isOpen) {
        input.Received(static_cast<std::size_t>(count));
    } else if (count == 0 || (error != EINTR && error != EAGAIN)) {
        Lose();
    }
}

/// A blocking read with a limit costs one call, poll() before a read two. The limit mostly stays
/// what it is, since the same waits come again and again.
void Link::LimitReading(int waitMs)
{
    if (waitMs == 0 || waitMs == readLimitMs) {
        return;
    }
    const int ms = std::max(waitMs, 0);
    const timeval limit{ms / 1000, ms % 1000 * 1000};
    setsockopt(socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    readLimitMs = waitMs;
}

/// Sorts what the other side sent before it closed the connection.
void Link::ReadTheRest(Lock& lock)
{
    for (const Deadline deadline(restLimitMs); isOpen && !deadline.HasPassed();) {
        ReadOrWait(lock, deadline);
    }
}
