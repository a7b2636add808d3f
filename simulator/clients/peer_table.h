#pragma once

#include "simulator/clients/audience.h"
#include "simulator/clients/peer.h"
#include "simulator/poller.h"
#include "simulator/service/fault_list.h"

#include "platform/src/deadline.h"
#include "platform/src/descriptor.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace sim {

/// Limits for what clients hold and how long they are silent.
struct Patience {
    std::size_t incompleteBytes = 64 * 1024 * 1024;  ///< of the frames of all clients together
    std::chrono::milliseconds insideFrame{30000};    ///< without a byte
    std::chrono::milliseconds surplus{2000};  ///< until a client without a place sends something
};

/// All connected clients: accepts, watches and drops them, and publishes to them.
///
/// A dropped peer stays valid until BuryDropped(), for events of the same pass of the loop.
class PeerTable : public Audience {
public:
    static constexpr std::size_t maxPeers = 1024;

    /// Some more are accepted, because one of them may ask the service to quit.
    static constexpr std::size_t most = maxPeers + 32;

    /// \param faults  for the garbage among them
    PeerTable(Poller& poller, FaultList& faults, const Patience& patienceToHave = Patience());

    bool IsFull() const { return peers.size() >= most; }

    /// \return the peer, which is the tag of its descriptor; null when it could not be watched
    Peer* Admit(platform::Descriptor connected);

    /// Gives a surplus client one of the maxPeers places, or drops it. \return whether it has one
    bool Seat(Peer& peer);

    /// Reads no more requests: each peer is dropped when its backlog is sent.
    void StopReading() { reads = false; }

    /// Updates every peer that something was published to; all of them after StopReading().
    void UpdatePublished();

    /// After anything was read or queued: sends, then watches for what the peer can do next, or
    /// drops it when all is done.
    void Update(Peer& peer);

    void Drop(Peer& peer, const char* why = nullptr, const std::string& details = "");

    void DropAll();

    /// Frees the dropped peers. \return whether there were any
    bool BuryDropped();

    /// \return null when there is no client of this number
    Peer* Find(unsigned int number) const;

    /// In the order of their numbers; a dropped one is closed.
    const std::vector<std::unique_ptr<Peer>>& Peers() const { return peers; }

    /// Removes and returns the peer that has waited longest for its next turn.
    Peer& TakeNextDue();
    bool HasDue() const { return !dueForTurn.empty(); }

    /// Ends delays, and looks for stalled subscribers and for clients that are silent inside a
    /// frame or without a place. To be called after NextLookMs() milliseconds, -1 for never.
    void Look();
    int NextLookMs() const { return nextLook.Sooner(nextRelease).RemainingMs(); }

    /// Whether anything is still queued for a peer that is not stalled.
    bool OwesAnything() const;

    bool HasSubscriber(unsigned int subscription) const override;
    Readiness ReadinessFor(unsigned int subscription, std::size_t size) override;
    std::size_t Publish(unsigned int subscription, const SharedFrame& frame) override;

private:
    bool HasRoom(Peer& peer, std::size_t size);
    void PublishGarbage(unsigned int subscription, const SharedFrame& good);
    void Queue(Peer& peer, const SharedFrame& frame);
    void LimitIncompleteBytes();
    void ReleaseDelayed();
    void LookAt(Peer& peer, platform::Deadline::Clock::time_point now);

    Poller& poller;
    FaultList& faults;
    const Patience patience;
    unsigned int garbageCount = 0;
    std::vector<std::unique_ptr<Peer>> peers;
    std::vector<Peer*> dueForTurn;  ///< the one that has waited longest first
    unsigned int lastNumber = 0;
    bool reads = true;
    bool hasDropped = false;
    bool hasPublished = false;                            ///< since UpdatePublished()
    platform::Deadline::Clock::time_point publishedAt{};  ///< first since then: asked once a turn
    platform::Deadline nextLook{-1};
    platform::Deadline nextRelease{-1};  ///< of what is delayed
};

}  // namespace sim
