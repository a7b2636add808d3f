#include "platform/src/link.h"

#include <poll.h>
#include <sys/socket.h>

using namespace platform;

/// Poll interval for a full socket: the sender reads whenever no other call does.
constexpr int roomIntervalMs = 10;

int Link::Send(Lock& lock, const unsigned char* bytes, std::size_t size, const Deadline& deadline)
{
    while (sending) {
        if (isFull && deadline.HasPassed()) {
            return EAGAIN;
        }
        state.WaitForChange(lock, isFull ? deadline : Deadline(-1));
    }
    if (!isOpen) {
        return ECONNRESET;
    }
    std::size_t sent = 0;
    int error = 0;
    {
        const auto role = state.Take(sending);
        error = SendAll(lock, bytes, size, deadline, sent);
    }
    if (IsLoss(error)) {
        ReadTheRest(lock);
    }
    // What follows a frame that was cut off would be taken for its rest.
    if (error != 0 && (sent > 0 || error != EAGAIN)) {
        Lose();
    }
    return error;
}

int Link::SendAll(Lock& lock, const unsigned char* bytes, std::size_t size,
                  const Deadline& deadline, std::size_t& sent)
{
    int error = 0;
    while (sent < size && error == 0) {
        ssize_t count = 0;
        {
            const auto unlocked = Unlocked(lock);
            count = send(socket.Get(), bytes + sent, size - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
            error = count < 0 && errno != EINTR ? errno : 0;
        }
        sent += count > 0 ? static_cast<std::size_t>(count) : 0;
        if (error == EAGAIN) {
            error = AwaitRoom(lock, deadline);
        }
    }
    return error;
}

/// Waits until the socket has room, \p deadline has passed, or something was read: two sides that
/// only write would wait for each other for ever.
int Link::AwaitRoom(Lock& lock, const Deadline& deadline)
{
    if (state.closed || !isOpen) {
        return ECONNRESET;
    }
    if (deadline.HasPassed()) {
        return EAGAIN;
    }
    const auto full = state.Take(isFull);
    state.changed.notify_all();
    pollfd entry{socket.Get(), static_cast<short>(reading ? POLLOUT : POLLIN | POLLOUT), 0};
    {
        const auto unlocked = Unlocked(lock);
        poll(&entry, 1, deadline.Sooner(Deadline(roomIntervalMs)).RemainingMs());
    }
    if (!reading && (entry.revents & ~POLLOUT) != 0) {
        Read(lock, 0);
    }
    return 0;
}
