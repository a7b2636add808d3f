#pragma once

#include "platform/src/endpoint_state.h"
#include "platform/src/reply_table.h"

#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

namespace platform {

/// One socket to a service, from its making to its loss. The next one is another object, so a call
/// that still uses this one disturbs nothing there. The last such call closes the socket.
///
/// All operations are called with the endpoint's lock held, and give it up in system calls.
class Link {
public:
    Link(EndpointState& endpointState, const std::string& serviceName, Descriptor&& connected)
        : state(endpointState), service(serviceName), socket(std::move(connected))
    {
    }

    bool IsOpen() const { return isOpen; }

    /// Ends the connection: wakes the calls that read or send, and those that wait for a reply get
    /// ECONNRESET.
    void Lose();

    /// Reads once and sorts what came, or waits until another call has done so or \p deadline has
    /// passed.
    ///
    /// One of the calls that wait has the reader role, and sorts what comes for all of them. At the
    /// end of each read the role is free and all are woken. Each that still waits calls this again,
    /// so there is a reader as long as any call waits.
    void ReadOrWait(Lock& lock, const Deadline& deadline);

    /// Sends a whole frame, one call at a time, and never blocks in the kernel. Waits until
    /// \p deadline for room, and for another sender that waits for room; for a sender that does
    /// not, it always waits. A frame that is cut off ends the connection.
    /// \return 0, EAGAIN when there was no room, or an errno value when the connection is lost
    int Send(Lock& lock, const unsigned char* bytes, std::size_t size, const Deadline& deadline);

    /// Whether \p error of Send() means that the connection was lost before the bytes were taken.
    static bool IsLoss(int error) { return error == EPIPE || error == ECONNRESET; }

    ReplyTable replies;  ///< to requests on this socket

private:
    // link_reading.cpp
    void Read(Lock& lock, int waitMs);
    void ReadSocket(Lock& lock, int waitMs);
    void LimitReading(int waitMs);
    void ReadTheRest(Lock& lock);

    // link_sorting.cpp
    bool Sort(Lock& lock);
    void TakeReply(Lock& lock, const ReceivedFrame& frame);
    void TakeNotification(Lock& lock, ReceivedFrame& frame);
    bool IsWanted(const ReceivedFrame& frame) const;

    // link_sending.cpp
    int SendAll(Lock& lock, const unsigned char* bytes, std::size_t size, const Deadline& deadline,
                std::size_t& sent);
    int AwaitRoom(Lock& lock, const Deadline& deadline);

    EndpointState& state;
    const std::string& service;
    const Descriptor socket;
    bool isOpen = true;
    bool reading = false;
    bool sending = false;
    bool isFull = false;  ///< the sender waits for room

    // Used by the reader alone.
    int readLimitMs = -1;  ///< SO_RCVTIMEO as it is set now
    InputBlocks input;
    std::optional<ReceivedFrame> held;  ///< a notification that the queue has no room for
};

}  // namespace platform
