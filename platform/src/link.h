#pragma once

#include "platform/src/arrivals.h"

#include <cerrno>
#include <cstddef>
#include <string>
#include <sys/socket.h>
#include <utility>

namespace platform {

struct Link;

/// Reads one socket. An endpoint has no thread of its own: one of the calls that wait has the
/// reader role, and sorts what comes for all of them.
///
/// The role is handed over at the end of Read(): it is free then, and every call that waits is
/// woken. Each looks whether it has what it waited for, and if not calls ReadOrWait() again: the
/// first to get the lock becomes the reader, the others wait on. So there is a reader as long as
/// any call waits, and a call that has what it wanted reads no more.
class Reader {
public:
    Reader(Link& readLink, const std::string& service);

    /// Reads once and sorts, or waits until another call has done so or \p deadline has passed.
    void ReadOrWait(Lock& lock, const Deadline& deadline);

    /// Sorts what the other side sent before it went away.
    void ReadTheRest(Lock& lock);

    /// Waits until the socket has room to send, \p deadline has passed, or something was read: two
    /// sides that only write would wait for each other for ever.
    void AwaitRoom(Lock& lock, const Deadline& deadline);

private:
    void Read(Lock& lock, int waitMs);
    void ReadSocket(Lock& lock, int waitMs);
    void LimitReading(int waitMs);

    Link& link;
    Arrivals arrivals;
    bool reading = false;
    int readLimitMs = -1;  ///< SO_RCVTIMEO as it is set now; only the reader changes it
};

/// Writes whole frames to one socket, one call at a time, and never blocks in the kernel.
class Sender {
public:
    explicit Sender(Link& writtenLink) : link(writtenLink) {}

    /// Sends a frame. Until \p deadline it waits for room, and for another sender that waits for
    /// room; for a sender that does not, it always waits. A frame that is cut off ends the
    /// connection. \return 0, EAGAIN when there was no room, or an errno value when the connection
    /// is lost
    int Send(Lock& lock, const unsigned char* bytes, std::size_t size, const Deadline& deadline);

    /// Whether \p error means that the connection was lost before the bytes were taken.
    static bool IsLoss(int error) { return error == EPIPE || error == ECONNRESET; }

private:
    int SendAll(Lock& lock, const unsigned char* bytes, std::size_t size, const Deadline& deadline,
                std::size_t& sent);
    int AwaitRoom(Lock& lock, const Deadline& deadline);

    Link& link;
    bool sending = false;
    bool isFull = false;  ///< the sender waits for room
};

/// One socket to a service, from its making to its loss. The next one is another object, so a call
/// that still uses this one disturbs nothing there. The last such call closes the socket.
struct Link {
    Link(EndpointState& endpointState, const std::string& service, ReplyTable& awaitedReplies,
         Descriptor&& connected)
        : state(endpointState), replies(awaitedReplies), socket(std::move(connected)),
          reader(*this, service), sender(*this)
    {
    }

    /// Ends the connection: wakes the calls that read or send, and those that wait for a reply get
    /// ECONNRESET.
    void Lose()
    {
        if (isOpen) {
            isOpen = false;
            shutdown(socket.Get(), SHUT_RDWR);
            replies.FailAll(ECONNRESET);
            state.changed.notify_all();
        }
    }

    EndpointState& state;
    ReplyTable& replies;
    const Descriptor socket;
    bool isOpen = true;
    Reader reader;
    Sender sender;
};

}  // namespace platform
