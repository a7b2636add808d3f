#include "platform/src/link.h"

namespace platform {

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
        link.reader.ReadTheRest(lock);
    }
    // What follows a frame that was cut off would be taken for its rest.
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
    link.reader.AwaitRoom(lock, deadline);
    return 0;
}

}  // namespace platform
