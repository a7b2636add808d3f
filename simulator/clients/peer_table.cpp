#include "simulator/clients/peer_table.h"

#include "simulator/commentary.h"

#include <algorithm>
#include <new>
#include <utility>

using namespace platform;
using namespace sim;

namespace {

template <typename Peers>
void EraseClosed(Peers& peers)
{
    peers.erase(std::remove_if(peers.begin(), peers.end(),
                               [](const auto& peer) { return peer->IsClosed(); }),
                peers.end());
}

}  // namespace

PeerTable::PeerTable(Poller& pollerToUse, FaultList& faultsToCause, const Patience& patienceToHave)
    : poller(pollerToUse), faults(faultsToCause), patience(patienceToHave)
{
    // Reserved at the start: later a lack of memory for the list would end the service.
    peers.reserve(most);
    dueForTurn.reserve(most);
}

Peer* PeerTable::Admit(Descriptor connected)
{
    auto peer = std::make_unique<Peer>(std::move(connected), ++lastNumber);
    if (!poller.Control(EPOLL_CTL_ADD, peer->Fd(), EPOLLIN, peer.get())) {
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

void PeerTable::UpdatePublished()
{
    if (!std::exchange(hasPublished, false) && reads) {
        return;
    }
    for (const auto& peer : peers) {
        const bool isDue = std::exchange(peer->isDueForUpdate, false) || !reads;
        if (isDue && !peer->IsClosed()) {
            Update(*peer);
        }
    }
}

void PeerTable::Update(Peer& peer)
{
    if (!peer.IsBlocked()) {
        peer.Flush();
    }
    const bool isDone = peer.HasEnded() && peer.delays.Replies() == 0;
    if ((isDone || !reads) && peer.backlog.IsEmpty()) {
        Drop(peer);
        return;
    }
    if (peer.HasWork() && !peer.isDueForTurn) {
        peer.isDueForTurn = true;
        dueForTurn.push_back(&peer);
    }
    const bool isRead = reads && !peer.HasEnded() && !peer.IsPaused();
    const unsigned int events = (isRead ? EPOLLIN : 0u) | (peer.IsBlocked() ? EPOLLOUT : 0u);
    if (events != peer.watchedEvents && poller.Control(EPOLL_CTL_MOD, peer.Fd(), events, &peer)) {
        peer.watchedEvents = events;
    }
    const bool isInsideFrame = peer.IncompleteBytes() > 0;
    if (isInsideFrame) {
        LimitIncompleteBytes();
    }
    if ((isInsideFrame || peer.isSurplus || (peer.IsBlocked() && !peer.stall.IsStalled())) &&
        !nextLook.IsLimited()) {
        nextLook = Deadline(100);
    }
    nextRelease = nextRelease.Sooner(peer.delays.Next());
}

void PeerTable::Drop(Peer& peer, const char* why, const std::string& details)
{
    if (why) {
        Tell(peer.number, why, details);
    }
    peer.Flush();  // sends the replies to the requests before a mistake
    peer.stall.Leave();
    peer.Close();
    hasDropped = true;
}

void PeerTable::DropAll()
{
    for (const auto& peer : peers) {
        if (!peer->IsClosed()) {
            Drop(*peer);
        }
    }
}

bool PeerTable::BuryDropped()
{
    if (hasDropped) {
        EraseClosed(dueForTurn);
        EraseClosed(peers);
    }
    return std::exchange(hasDropped, false);
}

Peer* PeerTable::Find(unsigned int number) const
{
    const auto found = std::find_if(peers.begin(), peers.end(), [&](const auto& peer) {
        return peer->number == number && !peer->IsClosed();
    });
    return found == peers.end() ? nullptr : found->get();
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
    const bool mayBeSpoilt = faults.Has(FaultKind::Garbage);
    const std::size_t frames = mayBeSpoilt ? 2 : 1;
    const std::size_t bytes = mayBeSpoilt ? 2 * size + 1 : size;
    if (!peer.backlog.HasRoomFor(frames, bytes) && !peer.IsBlocked()) {
        peer.Flush();
    }
    return peer.backlog.HasRoomFor(frames, bytes);
}

std::size_t PeerTable::Publish(unsigned int subscription, const SharedFrame& frame)
{
    publishedAt = hasPublished ? publishedAt : Deadline::Clock::now();
    // The malformed one first: if there is room for one of the two, the good one stays.
    if (frame && faults.Has(FaultKind::Garbage)) {
        PublishGarbage(subscription, frame);
    }
    std::size_t receivers = 0;
    for (const auto& peer : peers) {
        if (peer->subscriptions.Include(subscription)) {
            Queue(*peer, frame);
            ++receivers;
        }
    }
    return receivers;
}

void PeerTable::PublishGarbage(unsigned int subscription, const SharedFrame& good)
{
    SharedFrame garbage;
    for (const auto& peer : peers) {
        if (peer->subscriptions.Include(subscription) && faults.DrawGarbage(peer->number)) {
            garbage = garbage ? garbage : Spoil(good, garbageCount++);
            Queue(*peer, garbage);
        }
    }
}

void PeerTable::Queue(Peer& peer, const SharedFrame& frame)
{
    try {
        if (!frame) {
            throw std::bad_alloc();
        }
        if (!peer.stall.IsStalled() && !peer.backlog.HasRoomFor(1, frame->size())) {
            peer.Flush();
        }
        peer.PrepareForNotifications();
        const unsigned int dropped = peer.backlog.AddNotification(frame, publishedAt);
        if (dropped > 0) {
            peer.stall.Lose(dropped, "reads too slowly; its oldest notifications are lost");
        }
        hasPublished = true;
        peer.isDueForUpdate = true;
    } catch (const std::bad_alloc&) {
        peer.stall.Lose(1, "there is no memory for its notifications");
    }
}

// Limits of time and memory

/// One peer is enough: the largest frame has at least as many bytes as have just arrived.
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
    if (nextRelease.HasPassed()) {
        ReleaseDelayed();
    }
    if (!nextLook.HasPassed()) {
        return;
    }
    nextLook = Deadline(-1);
    for (const auto& peer : peers) {
        if (!peer->IsClosed()) {
            LookAt(*peer, Deadline::Clock::now());
        }
    }
}

void PeerTable::ReleaseDelayed()
{
    nextRelease = Deadline(-1);
    for (const auto& peer : peers) {
        if (peer->IsClosed()) {
            continue;
        }
        try {
            peer->delays.Release(peer->backlog);
            Update(*peer);
        } catch (const std::bad_alloc&) {
            Drop(*peer, "dropped: there is no memory for its replies");
        }
    }
}

void PeerTable::LookAt(Peer& peer, Deadline::Clock::time_point now)
{
    if (peer.IsBlocked() && !peer.stall.IsStalled()) {
        // The kernel reports room only when most of the buffer is free: late for a slow reader.
        peer.Flush();
        if (peer.backlog.Notifications() > 0) {
            peer.stall.Judge(peer.backlog.OldestSince(), now);
        }
    }
    if (peer.IsPaused()) {
        peer.heardAt = now;  // the service itself does not read from it
    }
    const auto silence = now - peer.heardAt;
    if (peer.isSurplus && silence >= patience.surplus) {
        Seat(peer);
    } else if (peer.IncompleteBytes() > 0 && silence >= patience.insideFrame) {
        Drop(peer, "dropped: it stopped inside a frame");
    }
    if (!peer.IsClosed()) {
        Update(peer);
    }
}
