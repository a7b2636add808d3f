#pragma once

#include "simulator/clients/backlog.h"
#include "simulator/clients/stall_rule.h"
#include "simulator/clients/subscriptions.h"
#include "simulator/service/delays.h"
#include "simulator/service/subtitle_service.h"

#include "platform/src/deadline.h"
#include "platform/src/descriptor.h"
#include "platform/src/input_blocks.h"

#include <cstddef>

namespace sim {

/// One connected client.
class Peer {
public:
    /// The service does not read from a peer that leaves more replies unread than this.
    static constexpr std::size_t maxUnsentReplies = 64;

    /// How its next turn begins.
    enum class Stage {
        Receiving,  ///< reads: `input` is empty or has the beginning of a frame
        Serving,    ///< goes on with the outcome of its last request, then with the next in `input`
        Ended,      ///< it sends no more, but may still read; or it is dropped
    };

    /// \param number  counted from 1, for the lines about it
    Peer(platform::Descriptor connected, unsigned int number);

    /// Reads once, in the stage Receiving. \return how many bytes arrived
    std::size_t Receive();

    /// No complete frame is left in `input`.
    void AwaitMore();

    /// Gives the socket a large buffer, which replies do not need.
    void PrepareForNotifications();

    /// Sends as much of the backlog as the socket takes.
    void Flush();

    void Close();

    /// From now on it gets neither replies nor notifications.
    void Silence();
    bool IsSilent() const { return isSilent; }

    int Fd() const { return fd.Get(); }
    bool IsClosed() const { return !fd; }
    bool HasEnded() const { return stage == Stage::Ended; }
    bool IsReceiving() const { return stage == Stage::Receiving; }
    bool IsBlocked() const { return output == Output::Blocked; }

    /// Whether the service reads no request from it at the moment.
    bool IsPaused() const
    {
        return backlog.Replies() + delays.Replies() > maxUnsentReplies || delays.StopsReading();
    }

    /// Whether it has work that needs no more bytes from its socket.
    bool HasWork() const
    {
        return stage == Stage::Serving && (!outcome.IsPublished() || !IsPaused());
    }

    /// Bytes of a frame that is not complete.
    std::size_t IncompleteBytes() const { return IsReceiving() ? input.Unread() : 0; }

    const unsigned int number;
    platform::InputBlocks input;
    Subscriptions subscriptions;
    Backlog backlog;
    Outcome outcome;  ///< of its last request; the next one waits until it is published
    StallRule stall;
    Delays delays;

    // Used by PeerTable only
    bool isSurplus = false;  ///< has no place: of its requests only quit is obeyed
    /// When bytes of an incomplete frame arrived last; of a surplus client, when it came.
    platform::Deadline::Clock::time_point heardAt = platform::Deadline::Clock::now();
    unsigned int watchedEvents = 0;  ///< as told to the poller
    bool isDueForTurn = false;
    bool isDueForUpdate = false;  ///< something was published to it

private:
    enum class Output {
        Open,
        Blocked,  ///< the socket is full
        Dead,     ///< the peer reads no more
    };

    platform::Descriptor fd;
    Stage stage = Stage::Receiving;
    Output output = Output::Open;
    bool hasLargeBuffer = false;
    bool isSilent = false;
};

}  // namespace sim
