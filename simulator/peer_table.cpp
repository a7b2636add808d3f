#include "simulator/peer_table.h"

#include "simulator/commentary.h"

#include <algorithm>
#include <new>
#include <utility>

namespace sim {

using namespace platform;

namespace {

constexpr int lookIntervalMs = 100;

template <typename Peers>
void EraseClosed(Peers& peers)
{
    peers.erase(std::remove_if(peers.begin(), peers.end(),
                               [](const auto& peer) { return peer->IsClosed(); }),
                peers.end());
}

}  // namespace

PeerTable::PeerTable(Poller& pollerToUse, bool publishGarbage, const Patience& patienceToHave)
    : poller(pollerToUse), publishesGarbage(publishGarbage), patience(patienceToHave)
{
    // A list that cannot grow would end the service.
    peers.reserve(most);
    dueForTurn.reserve(most);
}

Peer* PeerTable::Admit(Descriptor connected)
{
    auto peer = std::make_unique<Peer>(std::move(connected), ++lastNumber);
    if (!poller.Add(peer->Fd(), EPOLLIN, peer.get())) {
        return nullptr;
    }
    peer->watchedEvents = EPOLLIN;
    peer->isSurplus = peers.size() >= maxPeers;
    peers.push_back(std::move(peer));
    return peers.back().get();
}

bool PeerTable::Seat(Peer& peer)
{
    const auto hasPlace = [](const auto& other) { return !other->isSurplus && !other->IsClosed(); };
    if (peer.isSurplus &&
        std::count_if(peers.begin(), peers.end(), hasPlace) >= std::ptrdiff_t(maxPeers)) {
        Drop(peer, "turned away: there are as many clients as can be served");
        return false;
    }
    peer.isSurplus = false;
    return true;
}

void PeerTable::StopReading()
{
    reads = false;
    for (const auto& peer : peers) {
        peer->isDueForFlush = true;
    }
    hasPublished = true;
}

void PeerTable::Flush(Peer& peer)
{
    peer.Flush();
    if (peer.backlog.Notifications() == 0 && !peer.IsDead()) {
        peer.stall.CatchUp();
    }
}

void PeerTable::FlushPublished()
{
    if (!std::exchange(hasPublished, false)) {
        return;
    }
    for (const auto& peer : peers) {
        if (std::exchange(peer->isDueForFlush, false) && !peer->IsClosed()) {
            if (!peer->IsBlocked()) {
                Flush(*peer);
            }
            Update(*peer);
        }
    }
}

void PeerTable::Update(Peer& peer)
{
    if ((peer.HasEnded() || !reads) && peer.backlog.IsEmpty()) {
        Drop(peer);
        return;
    }
    if (peer.HasWork() && !peer.isDueForTurn) {
        peer.isDueForTurn = true;
        dueForTurn.push_back(&peer);
    }
    const bool isRead = reads && !peer.HasEnded() && !peer.OwesReplies();
    const unsigned int events = (isRead ? EPOLLIN : 0u) | (peer.IsBlocked() ? EPOLLOUT : 0u);
    if (events != peer.watchedEvents && poller.Change(peer.Fd(), events, &peer)) {
        peer.watchedEvents = events;
    }
    const bool isInsideFrame = peer.IncompleteBytes() > 0;
    if (isInsideFrame) {
        LimitIncompleteBytes();
    }
    if ((isInsideFrame || peer.isSurplus || (peer.IsBlocked() && !peer.stall.IsStalled())) &&
        !nextLook.IsLimited()) {
        nextLook = Deadline(lookIntervalMs);
    }
}

void PeerTable::Drop(Peer& peer, const char* why, const std::string& details)
{
    if (why) {
        Tell(peer.number, why, details);
    }
    peer.Flush();  // a reply to what came before a mistake
    peer.stall.Leave();
    peer.Close();
    hasDropped = true;
}

bool PeerTable::BuryDropped()
{
    if (hasDropped) {
        EraseClosed(dueForTurn);
        EraseClosed(peers);
    }
    return std::exchange(hasDropped, false);
}

Peer& PeerTable::TakeNextDue()
{
    Peer& peer = *dueForTurn.front();
    dueForTurn.erase(dueForTurn.begin());
    peer.isDueForTurn = false;
    return peer;
}

bool PeerTable::OwesAnything() const
{
    return std::any_of(peers.begin(), peers.end(), [](const auto& peer) {
        return !peer->stall.IsStalled() && !peer->backlog.IsEmpty();
    });
}

// Publishing

bool PeerTable::HasSubscriber(unsigned int subscription) const
{
    return std::any_of(peers.begin(), peers.end(), [subscription](const auto& peer) {
        return peer->subscriptions.Include(subscription);
    });
}

Audience::Readiness PeerTable::ReadinessFor(unsigned int subscription, std::size_t size)
{
    Readiness readiness = Readiness::NoReader;
    for (const auto& peer : peers) {
        if (!peer->subscriptions.Include(subscription) || peer->stall.IsStalled()) {
            continue;
        }
        if (!HasRoom(*peer, size)) {
            return Readiness::Full;
        }
        readiness = Readiness::Ready;
    }
    return readiness;
}

bool PeerTable::HasRoom(Peer& peer, std::size_t size)
{
    const std::size_t frames = publishesGarbage ? 2 : 1;
    const std::size_t bytes = publishesGarbage ? 2 * size + 1 : size;
    if (!peer.backlog.HasRoomFor(frames, bytes) && !peer.IsBlocked()) {
        Flush(peer);
        Update(peer);
    }
    return peer.backlog.HasRoomFor(frames, bytes);
}

std::size_t PeerTable::Publish(unsigned int subscription, const SharedFrame& frame)
{
    // The garbage first: where only one of the two has room, the good one stays.
    if (publishesGarbage && frame && HasSubscriber(subscription)) {
        Distribute(subscription, Spoil(frame, garbageCount++));
    }
    return Distribute(subscription, frame);
}

std::size_t PeerTable::Distribute(unsigned int subscription, const SharedFrame& frame)
{
    std::size_t receivers = 0;
    const auto now = Deadline::Clock::now();
    for (const auto& peer : peers) {
        if (peer->subscriptions.Include(subscription)) {
            ++receivers;
            if (!frame || !Queue(*peer, frame, now)) {
                peer->stall.Lose(1, "there is no memory for its notifications");
            }
        }
    }
    return receivers;
}

/// \return false when there is no memory: publishing has no caller that could be refused
bool PeerTable::Queue(Peer& peer, const SharedFrame& frame, Deadline::Clock::time_point now)
{
    if (!peer.stall.IsStalled() && !peer.backlog.HasRoomFor(1, frame->size())) {
        Flush(peer);
    }
    peer.PrepareForNotifications();
    try {
        const unsigned int dropped = peer.backlog.AddNotification(frame, now);
        if (dropped > 0) {
            peer.stall.Lose(dropped, "reads too slowly; its oldest notifications are lost");
        }
        hasPublished = true;
        peer.isDueForFlush = true;
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// What takes too long or holds too much

/// Dropping one is enough: the largest has at least the bytes that have just arrived.
void PeerTable::LimitIncompleteBytes()
{
    std::size_t total = 0;
    Peer* largest = peers.front().get();
    for (const auto& peer : peers) {
        total += peer->IncompleteBytes();
        largest = peer->IncompleteBytes() > largest->IncompleteBytes() ? peer.get() : largest;
    }
    if (total > patience.incompleteBytes) {
        Drop(*largest, "dropped: the incomplete frames of all clients exceed 64 MiB");
    }
}

void PeerTable::Look()
{
    if (!nextLook.HasPassed()) {
        return;
    }
    nextLook = Deadline(-1);
    const auto now = Deadline::Clock::now();
    for (const auto& peer : peers) {
        if (!peer->IsClosed()) {
            LookAt(*peer, now);
        }
    }
}

void PeerTable::LookAt(Peer& peer, Deadline::Clock::time_point now)
{
    if (peer.IsBlocked() && !peer.stall.IsStalled()) {
        // The kernel tells of room only when most of the buffer is free; a slow reader has room
        // long before that.
        Flush(peer);
        if (peer.backlog.Notifications() > 0) {
            peer.stall.Judge(peer.backlog.OldestSince(), now);
        }
    }
    if (peer.OwesReplies()) {
        peer.heardAt = now;  // it is not read from
    }
    if (peer.isSurplus && now - peer.heardAt >= patience.surplus) {
        Seat(peer);
    } else if (peer.IncompleteBytes() > 0 && now - peer.heardAt >= patience.insideFrame) {
        Drop(peer, "dropped: it stopped inside a frame");
    }
    if (!peer.IsClosed()) {
        Update(peer);
    }
}

}  // namespace sim
