#include "simulator/server.h"

#include <messaging_directory.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr std::size_t receiveBufferSize = 64 * 1024;
constexpr unsigned int framesPerTurn = 64;
constexpr unsigned int acceptsPerTurn = 64;
constexpr int eventsPerTurn = 64;
constexpr int acceptPauseMs = 100;
constexpr int stallLookMs = 100;
constexpr std::chrono::seconds stallTime{1};
constexpr int lastFlushMs = 1000;

}  // namespace

Server::Server(int socket, const Options& given, const Scenario& scenario, Journal& journal)
    : listeningSocket(socket), options(given), commentary(given.quiet),
      handler(given.faults, journal, commentary, *this), player(scenario, given.loop, *this),
      receiveBuffer(receiveBufferSize)
{
}

Server::~Server() = default;

bool Server::Open(std::string& problem)
{
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGTERM);
    sigaddset(&stops, SIGINT);
    poller = Descriptor(epoll_create1(EPOLL_CLOEXEC));
    signals = Descriptor(signalfd(-1, &stops, SFD_CLOEXEC | SFD_NONBLOCK));
    spare = Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!poller || !signals || !Watch(signals.Get(), EPOLLIN, &signals)) {
        problem = std::strerror(errno);
        return false;
    }
    ResumeAccepting();
    return true;
}

void Server::Run()
{
    int playerMs = player.Advance();
    while (!ending) {
        Turn(NextWaitMs(playerMs));
        playerMs = player.Advance();
        FlushQueued();
        BuryClosedPeers();
    }
    FlushAtTheEnd();
}

void Server::Turn(int waitMs)
{
    epoll_event events[eventsPerTurn];
    // Interrupted, for instance by being stopped and continued: a turn without events.
    const int count = epoll_wait(poller.Get(), events, eventsPerTurn, waitMs);
    for (int i = 0; i < count; ++i) {
        if (events[i].data.ptr == &signals) {
            ending = true;
        } else if (events[i].data.ptr == this) {
            AcceptPeers();
        } else {
            OnPeer(*static_cast<Peer*>(events[i].data.ptr), events[i].events);
        }
    }
    TakeWaitingTurns();
    if (!accepts && acceptPause.HasPassed()) {
        ResumeAccepting();
    }
    LookForStalledPeers();
}

int Server::NextWaitMs(int playerMs) const
{
    if (!waitingForTurn.empty()) {
        return 0;
    }
    int wait = playerMs;
    const auto sooner = [&wait](int ms) { wait = wait < 0 || (ms >= 0 && ms < wait) ? ms : wait; };
    if (!accepts) {
        sooner(acceptPause.RemainingMs());
    }
    if (looksForStalls) {
        sooner(nextLook.RemainingMs());
    }
    return wait;
}

// Peers

void Server::OnPeer(Peer& peer, unsigned int events)
{
    if (peer.IsClosed()) {
        return;
    }
    if ((events & (EPOLLOUT | EPOLLHUP | EPOLLERR)) != 0) {
        Flush(peer);
    }
    if (ending || peer.isQueuedForTurn) {
        Settle(peer);
    } else {
        TakeTurn(peer);
    }
}

void Server::TakeWaitingTurns()
{
    std::vector<Peer*> turns;
    turns.swap(waitingForTurn);
    for (Peer* peer : turns) {
        peer->isQueuedForTurn = false;
        if (!peer->IsClosed() && !ending) {
            TakeTurn(*peer);
        }
    }
}

void Server::TakeTurn(Peer& peer)
{
    try {
        HandleFrames(peer);
    } catch (const std::bad_alloc&) {
        Commentary::Tell(peer.number, "dropped: there is no memory for what it sends");
        Drop(peer);
    }
    if (!peer.IsClosed()) {
        Flush(peer);
        Settle(peer);
    }
}

void Server::HandleFrames(Peer& peer)
{
    if (peer.OwesReplies()) {
        return;
    }
    if (!peer.hasWaitingInput && !peer.inputEnded) {
        const Peer::Arrival arrival = peer.Receive(receiveBuffer.data(), receiveBuffer.size());
        if (arrival == Peer::Arrival::NothingNow) {
            return;
        }
        if (arrival == Peer::Arrival::End) {
            peer.inputEnded = true;
            peer.subscriptions.Clear();
            return;
        }
    }
    peer.hasWaitingInput = true;
    for (unsigned int handled = 0; handled < framesPerTurn && !peer.OwesReplies(); ++handled) {
        FrameSplitter::Frame frame;
        const char* problem = nullptr;
        const FrameSplitter::Found found = peer.input.Next(frame, problem);
        if (found == FrameSplitter::Found::Nothing) {
            peer.hasWaitingInput = false;
            break;
        }
        if (found == FrameSplitter::Found::Malformed) {
            Commentary::Tell(peer.number, std::string("dropped: it sent ") + problem);
            Drop(peer);
            return;
        }
        const RequestHandler::Verdict verdict = handler.Handle(peer, frame);
        if (verdict == RequestHandler::Verdict::DropPeer) {
            Drop(peer);
            return;
        }
        if (verdict == RequestHandler::Verdict::Quit) {
            ending = true;
            break;
        }
    }
    peer.input.Settle();
}

void Server::Flush(Peer& peer)
{
    peer.Flush();
    if (peer.IsBlocked()) {
        if (peer.tookSomething) {
            peer.isStalled = false;
        }
        if (!looksForStalls) {
            looksForStalls = true;
            nextLook = Deadline(stallLookMs);
        }
        return;
    }
    peer.isStalled = false;
    if (peer.isInTrouble && !peer.IsDead()) {
        TellOfRecovery(peer);
    }
}

/// After anything was read or sent: looks for what the peer needs next, or closes it.
void Server::Settle(Peer& peer)
{
    const bool isFinished = peer.inputEnded && !peer.hasWaitingInput;
    if (isFinished && (peer.IsDead() || peer.backlog.IsEmpty())) {
        Drop(peer);
        return;
    }
    if (peer.hasWaitingInput && !peer.OwesReplies() && !peer.isQueuedForTurn) {
        peer.isQueuedForTurn = true;
        waitingForTurn.push_back(&peer);
    }
    const bool reads = !peer.inputEnded && !peer.OwesReplies() && !ending;
    const unsigned int events = (reads ? EPOLLIN : 0u) | (peer.IsBlocked() ? EPOLLOUT : 0u);
    if (events != peer.watchedEvents && Watch(peer.Fd(), events, &peer, false)) {
        peer.watchedEvents = events;
    }
}

void Server::Drop(Peer& peer)
{
    if (peer.isInTrouble) {
        Commentary::Tell(peer.number,
                         "gone; " + std::to_string(peer.lost) + " notifications were lost");
    }
    peer.Flush();
    peer.Close();
    hasClosedPeers = true;
}

void Server::BuryClosedPeers()
{
    if (!hasClosedPeers) {
        return;
    }
    hasClosedPeers = false;
    const auto isClosed = [](const Peer* peer) { return peer->IsClosed(); };
    waitingForTurn.erase(std::remove_if(waitingForTurn.begin(), waitingForTurn.end(), isClosed),
                         waitingForTurn.end());
    peers.erase(std::remove_if(peers.begin(), peers.end(),
                               [](const std::unique_ptr<Peer>& peer) { return peer->IsClosed(); }),
                peers.end());
    if (!accepts && !acceptPause.IsLimited()) {
        ResumeAccepting();
    }
}

// Publishing

bool Server::HasSubscriber(unsigned int subscription) const
{
    return std::any_of(peers.begin(), peers.end(), [subscription](const auto& peer) {
        return peer->subscriptions.Include(subscription);
    });
}

Audience::Readiness Server::ReadinessFor(unsigned int subscription, std::size_t size)
{
    Readiness readiness = Readiness::Nobody;
    for (const auto& peer : peers) {
        if (peer->subscriptions.Include(subscription) && !peer->isStalled) {
            if (!HasRoom(*peer, size)) {
                return Readiness::Full;
            }
            readiness = Readiness::Ready;
        }
    }
    return readiness;
}

bool Server::HasRoom(Peer& peer, std::size_t size)
{
    const std::size_t frames = options.faults.garbage ? 2 : 1;
    const std::size_t bytes = frames * (size + 1);
    if (peer.backlog.HasRoomFor(frames, bytes)) {
        return true;
    }
    if (!peer.IsBlocked()) {
        Flush(peer);
        Settle(peer);
    }
    return peer.backlog.HasRoomFor(frames, bytes);
}

std::size_t Server::Publish(unsigned int subscription, const SharedFrame& frame)
{
    // The garbage first: should there be room for one of the two only, the good one stays.
    if (options.faults.garbage) {
        Distribute(subscription, garbage.Spoil(frame));
    }
    return Distribute(subscription, frame);
}

std::size_t Server::Distribute(unsigned int subscription, const SharedFrame& frame)
{
    std::size_t receivers = 0;
    for (const auto& peer : peers) {
        if (peer->subscriptions.Include(subscription)) {
            Add(*peer, frame);
            ++receivers;
        }
    }
    return receivers;
}

void Server::Add(Peer& peer, const SharedFrame& frame)
{
    if (!peer.isStalled && !peer.backlog.HasRoomFor(1, frame->size())) {
        Flush(peer);
    }
    const unsigned int dropped = peer.backlog.AddNotification(frame);
    if (dropped > 0) {
        if (!peer.isInTrouble) {
            peer.isInTrouble = true;
            Commentary::Tell(peer.number, "reads too slowly; its oldest notifications are lost");
        }
        peer.lost += dropped;
    }
    if (!peer.isQueuedForFlush) {
        peer.isQueuedForFlush = true;
        waitingForFlush.push_back(&peer);
    }
}

void Server::FlushQueued()
{
    for (Peer* peer : waitingForFlush) {
        peer->isQueuedForFlush = false;
        if (!peer->IsClosed() && !peer->IsBlocked()) {
            Flush(*peer);
        }
        if (!peer->IsClosed()) {
            Settle(*peer);
        }
    }
    waitingForFlush.clear();
}

// Peers that do not read

void Server::LookForStalledPeers()
{
    if (!looksForStalls || !nextLook.HasPassed()) {
        return;
    }
    looksForStalls = false;
    const auto now = Deadline::Clock::now();
    for (const auto& entry : peers) {
        Peer& peer = *entry;
        if (peer.IsClosed() || !peer.IsBlocked() || peer.isStalled) {
            continue;
        }
        // The kernel tells of room only when most of the buffer is free; a slow reader has room
        // long before.
        Flush(peer);
        Settle(peer);
        if (peer.IsClosed() || !peer.IsBlocked()) {
            continue;
        }
        looksForStalls = true;
        if (peer.tookSomething) {
            peer.tookSomething = false;
            peer.lastTook = now;
        } else if (now - peer.lastTook >= stallTime) {
            peer.isStalled = true;
            if (!peer.isInTrouble) {
                peer.isInTrouble = true;
                Commentary::Tell(peer.number, "stalled: it has taken nothing for a second; nobody "
                                              "waits for it, its oldest notifications are lost");
            }
        }
    }
    if (looksForStalls) {
        nextLook = Deadline(stallLookMs);
    }
}

void Server::TellOfRecovery(Peer& peer)
{
    Commentary::Tell(peer.number, "has caught up; " + std::to_string(peer.lost) +
                                      " notifications were lost");
    peer.isInTrouble = false;
    peer.lost = 0;
}

// Accepting

void Server::AcceptPeers()
{
    for (unsigned int accepted = 0; accepted < acceptsPerTurn; ++accepted) {
        if (peers.size() >= maxPeers) {
            Say("as many clients as can be served; more have to wait");
            PauseAccepting(-1);
            return;
        }
        Descriptor connected(
            accept4(listeningSocket, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!connected) {
            OnAcceptFailure(errno);
            return;
        }
        toldRefusal = false;
        if (!IsTrustedPeer(connected.Get())) {
            Say("a client of another user was turned away");
            continue;
        }
        auto peer = std::make_unique<Peer>(std::move(connected), ++lastPeerNumber);
        if (Watch(peer->Fd(), EPOLLIN, peer.get())) {
            peer->watchedEvents = EPOLLIN;
            peers.push_back(std::move(peer));
        }
    }
}

void Server::OnAcceptFailure(int error)
{
    switch (error) {
    case EMFILE:
    case ENFILE:
        RefuseThoseWaiting();
        PauseAccepting(acceptPauseMs);
        break;
    case ENOMEM:
    case ENOBUFS:
        PauseAccepting(acceptPauseMs);
        break;
    default:
        // Nobody there any more, or a peer that has gone before it was accepted.
        break;
    }
}

/// With no descriptor left, the spare one lets peers be told so by closing their connections.
void Server::RefuseThoseWaiting()
{
    if (!toldRefusal) {
        toldRefusal = true;
        Say("no descriptors left; clients are turned away");
    }
    spare = Descriptor();
    for (unsigned int refused = 0; refused < acceptsPerTurn; ++refused) {
        const Descriptor peer(accept4(listeningSocket, nullptr, nullptr, SOCK_CLOEXEC));
        if (!peer) {
            break;
        }
    }
    spare = Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
}

void Server::PauseAccepting(int pauseMs)
{
    accepts = false;
    acceptPause = Deadline(pauseMs);
    epoll_ctl(poller.Get(), EPOLL_CTL_DEL, listeningSocket, nullptr);
}

void Server::ResumeAccepting()
{
    accepts = Watch(listeningSocket, EPOLLIN, this);
    if (!accepts) {
        acceptPause = Deadline(acceptPauseMs);
    }
}

// The end

void Server::FlushAtTheEnd()
{
    if (accepts) {
        PauseAccepting(-1);
    }
    epoll_ctl(poller.Get(), EPOLL_CTL_DEL, signals.Get(), nullptr);
    const auto hasMore = [this] {
        return std::any_of(peers.begin(), peers.end(), [](const auto& peer) {
            return !peer->IsClosed() && !peer->isStalled && !peer->backlog.IsEmpty();
        });
    };
    for (const auto& peer : peers) {
        if (!peer->IsClosed()) {
            Flush(*peer);
            Settle(*peer);
        }
    }
    const Deadline deadline(lastFlushMs);
    while (hasMore() && !deadline.HasPassed()) {
        epoll_event events[eventsPerTurn];
        const int count = epoll_wait(poller.Get(), events, eventsPerTurn, deadline.RemainingMs());
        for (int i = 0; i < count; ++i) {
            OnPeer(*static_cast<Peer*>(events[i].data.ptr), events[i].events);
        }
    }
}

bool Server::Watch(int fd, unsigned int events, void* tag, bool isNew)
{
    epoll_event event{};
    event.events = events;
    event.data.ptr = tag;
    return epoll_ctl(poller.Get(), isNew ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, fd, &event) == 0;
}
