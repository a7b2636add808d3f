#pragma once

#include "platform/src/endpoint_state.h"
#include "platform/src/input_blocks.h"
#include "platform/src/reply_table.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace platform {

/// What comes in from one service, sorted to those who wait for it: replies to the calls that want
/// them, notifications into the endpoint's queue. Every record is compared with the bytes that came
/// here and nowhere else.
///
/// Used with the endpoint's lock held; only the room may be written without it.
class Arrivals {
public:
    Arrivals(EndpointState& endpointState, const std::string& serviceName,
             ReplyTable& waitingForReplies);

    /// Forgets what the connection before this one left.
    void BeginAnew();

    /// Room for at least one byte. \return null when there is no memory
    unsigned char* Room(std::size_t& size) { return input.Room(size); }

    /// Sorts, with \p count bytes that were written to the room.
    /// \return false when the service sent what nobody may: nothing after it can be understood
    bool Sort(std::size_t count);

    /// Whether a notification had no room. Until GoOn() nothing behind it is sorted.
    bool AreHeldUp() const { return held.has_value(); }

    /// Sorts on, see Sort(). What had no room is taken in any case, so that whoever waits for
    /// something behind it gets on.
    bool GoOn();

    /// Notes why the connection is closed.
    void ComplainOf(const char* reason, const char* detail = "");

    /// The log entries to be made, once the lock is given up.
    std::vector<std::string> TakeComplaints();

private:
    bool SortAll();
    template <typename MakeText>
    void Complain(const MakeText& makeText);
    void TakeReply(const ReceivedFrame& frame);
    bool TakeNotification(ReceivedFrame& frame);
    bool IsWanted(const ReceivedFrame& frame);

    EndpointState& state;
    const std::string service;
    ReplyTable& replies;
    InputBlocks input;
    std::optional<ReceivedFrame> held;
    std::vector<std::string> complaints;
};

}  // namespace platform
