#include "platform/src/link.h"

#include <poll.h>
#include <sys/socket.h>

using namespace platform;

/// Poll interval for a full socket: the sender reads whenever no other call does.
constexpr int roomIntervalMs = 10;

/// Limits the read to the end of a lost link: its other side may have closed its input only.
constexpr int restLimitMs = 100;

int Sender::Send(Lock& lock, const unsigned char* bytes, std::size_t size, const Deadline& deadline)
{
    while (sending) {
        if (isFull && deadline.HasPassed()) {
            return EAGAIN;
        }
        link.state.WaitForChange(lock, isFull ? deadline : Deadline(-1));
    }
    if (!link.isOpen) {
        return ECONNRESET;
    }
    std::size_t sent = 0;
    int error = 0;
    {
        const auto role = link.state.Take(sending);
        error = SendAll(lock, bytes, size, deadline, sent);
    }
    if (IsLoss(error)) {
        ReadTheRest(lock);
    }
    // The service would read the next frame as the rest of one that was cut off.
    if (error != 0 && (sent > 0 || error != EAGAIN)) {
        link.Lose();
    }
    return error;
}

int Sender::SendAll(Lock& lock, const unsigned char* bytes, std::size_t size,
                    const Deadline& deadline, std::size_t& sent)
{
    int error = 0;
    while (sent < size && error == 0) {
        ssize_t count = 0;
        {
            const auto unlocked = Unlocked(lock);
            count = send(link.socket.Get(), bytes + sent, size - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
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
int Sender::AwaitRoom(Lock& lock, const Deadline& deadline)
{
    if (link.state.closed || !link.isOpen) {
        return ECONNRESET;
    }
    if (deadline.HasPassed()) {
        return EAGAIN;
    }
    const auto full = link.state.Take(isFull);
    link.state.changed.notify_all();
    pollfd entry{link.socket.Get(),
                 static_cast<short>(link.reader.IsReading() ? POLLOUT : POLLIN | POLLOUT), 0};
    {
        const auto unlocked = Unlocked(lock);
        poll(&entry, 1, deadline.Sooner(Deadline(roomIntervalMs)).RemainingMs());
    }
    if ((entry.revents & ~POLLOUT) != 0) {
        link.reader.ReadWhatIsThere(lock);
    }
    return 0;
}

/// Sorts what the other side sent before it closed the connection.
void Sender::ReadTheRest(Lock& lock)
{
    for (const Deadline deadline(restLimitMs); link.isOpen && !deadline.HasPassed();) {
        link.reader.ReadOrWait(lock, deadline);
    }
}
