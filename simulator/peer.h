#pragma once

#include "simulator/backlog.h"
#include "simulator/subscriptions.h"

#include "platform/src/deadline.h"
#include "platform/src/descriptor.h"
#include "platform/src/input_blocks.h"

#include <cstddef>

namespace sim {

/// One connected client.
class Peer {
public:
    /// Requests of a peer that has more replies than this still to read are left unread.
    static constexpr std::size_t maxUnsentReplies = 64;

    /// \param number  counted from 1, for the lines about it
    Peer(platform::Descriptor connected, unsigned int number);

    enum class Arrival { Bytes, NothingNow, End };

    /// Reads once into `input`.
    Arrival Receive();

    /// Gives the socket a large buffer, which replies do not need.
    void PrepareForNotifications();

    /// Sends as much of the backlog as the socket takes.
    void Flush();

    /// Ends the connection; nothing is read or sent any more.
    void Close();

    int Fd() const { return fd.Get(); }
    bool IsClosed() const { return !fd; }
    bool IsBlocked() const { return blocked; }
    bool IsDead() const { return dead; }
    bool OwesReplies() const { return backlog.Replies() > maxUnsentReplies; }

    const unsigned int number;
    platform::InputBlocks input;
    Subscriptions subscriptions;
    Backlog backlog;

    // Kept by the server and its table of peers
    unsigned int watchedEvents = 0;  ///< what the poller looks for
    bool inputEnded = false;         ///< sends no more, but may still read
    bool hasWaitingInput = false;    ///< `input` may hold more complete frames
    bool isDueForTurn = false;
    bool isDueForFlush = false;
    bool isStalled = false;      ///< has taken nothing for a second; nobody waits for it
    bool isInTrouble = false;    ///< stalled, or lost something, and has not caught up since
    unsigned int lost = 0;       ///< notifications, since isInTrouble
    bool tookSomething = false;  ///< since it was last looked at
    platform::Deadline::Clock::time_point lastTook{};

private:
    platform::Descriptor fd;
    bool hasLargeBuffer = false;
    bool blocked = false;  ///< the socket is full
    bool dead = false;     ///< the peer reads no more
};

}  // namespace sim
