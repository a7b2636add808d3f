#include "simulator/peer_table.h"

#include "simulator/commentary.h"

#include <algorithm>
#include <new>
#include <string>
#include <utility>

namespace sim {

using namespace platform;

namespace {

constexpr int lookIntervalMs = 100;
constexpr std::chrono::seconds stallTime{1};

}  // namespace

PeerTable::PeerTable(Poller& pollerToUse, bool publishGarbage)
    : poller(pollerToUse), publishesGarbage(publishGarbage)
{
    // A list that cannot grow later on would end the service.
    for (auto* list : {&dueForTurn, &havingTurn, &dueForFlush}) {
        list->reserve(maxPeers);
    }
    peers.reserve(maxPeers);
}

Peer* PeerTable::Admit(Descriptor connected)
{
    auto peer = std::make_unique<Peer>(std::move(connected), ++lastNumber);
    if (!poller.Add(peer->Fd(), EPOLLIN, peer.get())) {
        return nullptr;
    }
    peer->watchedEvents = EPOLLIN;
    peers.push_back(std::move(peer));
    return peers.back().get();
}

void PeerTable::StopReading() { reads = false; }

void PeerTable::Flush(Peer& peer)
{
    const bool wasBlocked = peer.IsBlocked();
    peer.Flush();
    if (!peer.IsBlocked()) {
        peer.isStalled = false;
        if (peer.isInTrouble && !peer.IsDead()) {
            EndTrouble(peer, "has caught up");
        }
        return;
    }
    if (!wasBlocked) {
        peer.tookSomething = true;  // its second begins now
    }
    if (peer.tookSomething) {
        peer.isStalled = false;
    }
    if (!looksForStalled && !peer.isStalled) {
        looksForStalled = true;
        nextLook = Deadline(lookIntervalMs);
    }
}

void PeerTable::FlushPublished()
{
    for (Peer* peer : dueForFlush) {
        peer->isDueForFlush = false;
        if (peer->IsClosed()) {
            continue;
        }
        if (!peer->IsBlocked()) {
            Flush(*peer);
        }
        Settle(*peer);
    }
    dueForFlush.clear();
}

void PeerTable::Settle(Peer& peer)
{
    const bool hasNoMoreToSay = peer.inputEnded && !peer.hasWaitingInput;
    if (hasNoMoreToSay && (peer.IsDead() || peer.backlog.IsEmpty())) {
        Drop(peer);
        return;
    }
    if (peer.hasWaitingInput && !peer.OwesReplies() && !peer.isDueForTurn) {
        peer.isDueForTurn = true;
        dueForTurn.push_back(&peer);
    }
    const bool isRead = reads && !peer.inputEnded && !peer.OwesReplies();
    const unsigned int events = (isRead ? EPOLLIN : 0u) | (peer.IsBlocked() ? EPOLLOUT : 0u);
    if (events != peer.watchedEvents && poller.Change(peer.Fd(), events, &peer)) {
        peer.watchedEvents = events;
    }
}

void PeerTable::Drop(Peer& peer)
{
    peer.Flush();  // a reply to what came before a mistake
    if (peer.isInTrouble) {
        EndTrouble(peer, "has gone");
    }
    peer.Close();
    hasDropped = true;
}

bool PeerTable::BuryDropped()
{
    if (!hasDropped) {
        return false;
    }
    hasDropped = false;
    const auto isClosed = [](const auto& peer) { return peer->IsClosed(); };
    dueForTurn.erase(std::remove_if(dueForTurn.begin(), dueForTurn.end(), isClosed),
                     dueForTurn.end());
    dueForFlush.erase(std::remove_if(dueForFlush.begin(), dueForFlush.end(), isClosed),
                      dueForFlush.end());
    peers.erase(std::remove_if(peers.begin(), peers.end(), isClosed), peers.end());
    return true;
}

const std::vector<Peer*>& PeerTable::TakeThoseDueForTurn()
{
    havingTurn.clear();
    havingTurn.swap(dueForTurn);
    for (Peer* peer : havingTurn) {
        peer->isDueForTurn = false;
    }
    return havingTurn;
}

bool PeerTable::SomebodyIsOwed() const
{
    return std::any_of(peers.begin(), peers.end(), [](const auto& peer) {
        return !peer->isStalled && !peer->backlog.IsEmpty();
    });
}

void PeerTable::FlushEverybody()
{
    for (const auto& peer : peers) {
        QueueForFlush(*peer);
    }
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
    Readiness readiness = Readiness::Nobody;
    for (const auto& peer : peers) {
        if (!peer->subscriptions.Include(subscription) || peer->isStalled) {
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
        Settle(peer);
    }
    return peer.backlog.HasRoomFor(frames, bytes);
}

std::size_t PeerTable::Publish(unsigned int subscription, const SharedFrame& frame)
{
    // The garbage first: where only one of the two has room, the good one stays.
    if (publishesGarbage) {
        Distribute(subscription, garbage.Spoil(frame));
    }
    return Distribute(subscription, frame);
}

std::size_t PeerTable::Distribute(unsigned int subscription, const SharedFrame& frame)
{
    std::size_t receivers = 0;
    for (const auto& peer : peers) {
        if (peer->subscriptions.Include(subscription)) {
            Queue(*peer, frame);
            ++receivers;
        }
    }
    return receivers;
}

void PeerTable::Queue(Peer& peer, const SharedFrame& frame)
{
    if (!peer.isStalled && !peer.backlog.HasRoomFor(1, frame->size())) {
        Flush(peer);
    }
    peer.PrepareForNotifications();
    try {
        const unsigned int dropped = peer.backlog.AddNotification(frame);
        if (dropped > 0) {
            CountLost(peer, dropped, "reads too slowly; its oldest notifications are lost");
        }
        QueueForFlush(peer);
    } catch (const std::bad_alloc&) {
        CountLost(peer, 1, "there is no memory for its notifications");
    }
}

void PeerTable::CountLost(Peer& peer, unsigned int count, const char* text)
{
    if (!peer.isInTrouble) {
        StartTrouble(peer, text);
    }
    peer.lost += count;
}

void PeerTable::QueueForFlush(Peer& peer)
{
    if (!peer.isDueForFlush) {
        dueForFlush.push_back(&peer);
        peer.isDueForFlush = true;
    }
}

// Peers that do not read

void PeerTable::LookForStalled()
{
    if (!looksForStalled || !nextLook.HasPassed()) {
        return;
    }
    looksForStalled = false;
    const auto now = Deadline::Clock::now();
    for (const auto& peer : peers) {
        if (peer->IsBlocked() && !peer->isStalled) {
            LookAt(*peer, now);
        }
    }
    if (looksForStalled) {
        nextLook = Deadline(lookIntervalMs);
    }
}

void PeerTable::LookAt(Peer& peer, Deadline::Clock::time_point now)
{
    // The kernel tells of room only when most of the buffer is free; a slow reader has room long
    // before that.
    Flush(peer);
    Settle(peer);
    if (!peer.IsBlocked()) {
        return;
    }
    if (peer.tookSomething) {
        peer.tookSomething = false;
        peer.lastTook = now;
    } else if (now - peer.lastTook >= stallTime) {
        peer.isStalled = true;
        if (!peer.isInTrouble) {
            StartTrouble(peer, "stalled, has taken nothing for a second; nobody waits for it");
        }
    }
}

void PeerTable::StartTrouble(Peer& peer, const char* text)
{
    peer.isInTrouble = true;
    peer.lost = 0;
    Commentary::Tell(peer.number, text);
}

void PeerTable::EndTrouble(Peer& peer, const char* text)
{
    peer.isInTrouble = false;
    Commentary::Tell(peer.number, text, ", " + std::to_string(peer.lost) + " notifications lost");
}

}  // namespace sim
