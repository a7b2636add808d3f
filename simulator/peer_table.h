#pragma once

#include "simulator/audience.h"
#include "simulator/garbage.h"
#include "simulator/peer.h"
#include "simulator/poller.h"

#include "platform/src/deadline.h"
#include "platform/src/descriptor.h"

#include <memory>
#include <vector>

namespace sim {

/// All connected clients: what goes out to them, who does not read, and who has gone.
///
/// A peer that is dropped stays valid until BuryDropped(), so that nothing in the same turn of the
/// loop meets a peer that is no more.
class PeerTable : public Audience {
public:
    static constexpr std::size_t maxPeers = 1024;

    /// \param publishGarbage  each notification is preceded by a malformed one
    PeerTable(Poller& poller, bool publishGarbage);

    bool IsFull() const { return peers.size() >= maxPeers; }

    /// Takes in a client; the peer is the tag of its descriptor.
    /// \return the peer, or null when it could not be watched
    Peer* Admit(platform::Descriptor connected);

    /// Reads no peer's requests any more: only what is queued still goes out.
    void StopReading();

    /// Sends as much of the peer's backlog as it takes.
    void Flush(Peer& peer);

    /// Flushes every peer that something was published to.
    void FlushPublished();

    /// After anything was read or sent: watches for what the peer can do next, or drops it when all
    /// is done.
    void Settle(Peer& peer);

    void Drop(Peer& peer);

    /// Frees the dropped peers. \return whether there were any
    bool BuryDropped();

    /// Peers of which more requests are there than they had the turn for, until the next call. They
    /// leave the list.
    const std::vector<Peer*>& TakeThoseDueForTurn();
    bool SomebodyIsDueForTurn() const { return !dueForTurn.empty(); }

    /// Finds peers that have taken nothing for a second.
    void LookForStalled();

    /// Milliseconds to the time when LookForStalled() is to be called, -1 for never.
    int NextLookMs() const { return looksForStalled ? nextLook.RemainingMs() : -1; }

    /// Whether anything is still queued for a peer that is not stalled.
    bool SomebodyIsOwed() const;

    /// Queues everybody for FlushPublished().
    void FlushEverybody();

    bool HasSubscriber(unsigned int subscription) const override;
    Readiness ReadinessFor(unsigned int subscription, std::size_t size) override;
    std::size_t Publish(unsigned int subscription, const SharedFrame& frame) override;

private:
    std::size_t Distribute(unsigned int subscription, const SharedFrame& frame);
    bool HasRoom(Peer& peer, std::size_t size);
    void Queue(Peer& peer, const SharedFrame& frame);
    void QueueForFlush(Peer& peer);
    void CountLost(Peer& peer, unsigned int count, const char* text);
    void StartTrouble(Peer& peer, const char* text);
    void EndTrouble(Peer& peer, const char* text);
    void LookAt(Peer& peer, platform::Deadline::Clock::time_point now);

    Poller& poller;
    const bool publishesGarbage;
    GarbageMaker garbage;
    std::vector<std::unique_ptr<Peer>> peers;
    std::vector<Peer*> dueForTurn;
    std::vector<Peer*> havingTurn;
    std::vector<Peer*> dueForFlush;
    unsigned int lastNumber = 0;
    bool reads = true;
    bool hasDropped = false;
    bool looksForStalled = false;
    platform::Deadline nextLook{-1};
};

}  // namespace sim
