#pragma once

#include "platform/src/endpoint_state.h"

#include <cstddef>

namespace platform {

struct Link;

/// Writes whole frames to one socket, one call at a time, and never blocks in the kernel.
class Sender {
public:
    explicit Sender(Link& writtenLink) : link(writtenLink) {}

    /// Sends a frame. Waits for another sender, but for one that waits for room no longer than until
    /// \p deadline, and for room until \p deadline. A frame that is cut off ends the connection.
    /// \return 0, EAGAIN when there was no room, or an errno value when the connection is lost
    int Send(Lock& lock, const unsigned char* bytes, std::size_t size, const Deadline& deadline);

private:
    int SendAll(Lock& lock, const unsigned char* bytes, std::size_t size, const Deadline& deadline,
                std::size_t& sent);
    int AwaitRoom(Lock& lock, const Deadline& deadline);

    Link& link;
    bool sending = false;
    bool isFull = false;  ///< the sender waits for room
};

/// Whether \p error says that the connection was lost before the bytes were taken.
bool IsLoss(int error);

}  // namespace platform
