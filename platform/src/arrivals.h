#pragma once

#include "platform/src/endpoint_state.h"
#include "platform/src/reply_table.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace platform {

/// The input of one connection, sorted: replies to the calls that wait for them, notifications into
/// the endpoint's queue. Subscriptions are accepted and ended here, in the order of the replies.
///
/// Used with the endpoint's lock held; only the room may be written without it.
class Arrivals {
public:
    Arrivals(EndpointState& endpointState, const std::string& serviceName,
             ReplyTable& awaitedReplies)
        : state(endpointState), service(serviceName), replies(awaitedReplies)
    {
    }

    /// Room for at least one byte. \return null when there is no memory
    unsigned char* Room(std::size_t& size) { return input.Room(size); }

    /// \p count bytes were written to the room.
    void Received(std::size_t count) { input.Received(count); }

    enum class Sorted { Nothing, Something, NotUnderstood };

    /// Sorts what has come, up to a notification that has no room in the queue. The next call takes
    /// that one in any case, so that a call which waits for something after it gets on.
    ///
    /// \return NotUnderstood when the rest makes no sense: the connection must end
    Sorted Sort();

    /// An entry for the log, see LogFromLibrary().
    struct Complaint {
        const char* kind;
        std::string text;
    };

    /// Entries for the log, to be made without the lock.
    std::vector<Complaint> TakeComplaints();

private:
    bool TakeNotification(ReceivedFrame& frame);
    void TakeReply(const ReceivedFrame& frame);
    bool IsWanted(const ReceivedFrame& frame);

    EndpointState& state;
    const std::string& service;
    ReplyTable& replies;
    InputBlocks input;
    std::optional<ReceivedFrame> held;  ///< the notification without room
    std::vector<Complaint> complaints;
};

}  // namespace platform
