#pragma once

#include "platform/src/endpoint_state.h"

#include <cerrno>
#include <cstddef>

namespace platform {

struct Link;

/// Sends frames on a link, one call at a time, and never blocks in the kernel.
class Sender {
public:
    explicit Sender(Link& usedLink) : link(usedLink) {}

    /// Sends a whole frame. Waits until \p deadline for room, and for another sender that waits for
    /// room; for a sender that has room, without limit. A frame that is cut off ends the link.
    /// \return 0, EAGAIN when there was no room, or an errno value when the link is lost
    int Send(Lock& lock, const unsigned char* bytes, std::size_t size, const Deadline& deadline);

    /// Whether \p error of Send() means that the link was lost before the bytes were taken.
    static bool IsLoss(int error) { return error == EPIPE || error == ECONNRESET; }

private:
    int SendAll(Lock& lock, const unsigned char* bytes, std::size_t size, const Deadline& deadline,
                std::size_t& sent);
    int AwaitRoom(Lock& lock, const Deadline& deadline);
    void ReadTheRest(Lock& lock);

    Link& link;
    bool sending = false;
    bool isFull = false;  ///< the sender waits for room
};

}  // namespace platform
