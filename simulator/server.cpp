#include "simulator/server.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <new>
#include <sys/signalfd.h>

namespace sim {

using namespace platform;

namespace {

constexpr unsigned int framesPerTurn = 64;
constexpr int lastFlushMs = 1000;

/// The sooner of two waits in milliseconds, -1 being for ever.
int Sooner(int one, int other)
{
    if (one < 0 || other < 0) {
        return one < 0 ? other : one;
    }
    return one < other ? one : other;
}

}  // namespace

Server::Server(int listeningSocket, const Options& options, const Scenario& scenario,
               Journal& journal)
    : acceptor(listeningSocket, poller), peers(poller, options.faults.garbage),
      commentary(options.quiet), handler(options.faults, journal, commentary, peers),
      player(scenario, options.loop, peers)
{
}

bool Server::Open(std::string& problem)
{
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGTERM);
    sigaddset(&stops, SIGINT);
    signals = Descriptor(signalfd(-1, &stops, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!signals || !poller.Open() || !poller.Add(signals.Get(), EPOLLIN, &signals)) {
        problem = std::strerror(errno);
        return false;
    }
    acceptor.Open();
    return true;
}

void Server::Run()
{
    while (!ending) {
        const int playerMs = player.Advance();
        peers.FlushPublished();
        if (peers.BuryDropped()) {
            acceptor.Resume();
        }
        Turn(NextWaitMs(playerMs));
    }
    FlushAtTheEnd();
}

void Server::Turn(int waitMs)
{
    epoll_event events[Poller::maxEvents];
    const int count = poller.Wait(events, waitMs);
    for (int i = 0; i < count && !ending; ++i) {
        void* const tag = events[i].data.ptr;
        if (tag == &signals) {
            ending = true;
        } else if (tag == &acceptor) {
            AcceptPeer();
        } else {
            OnPeer(*static_cast<Peer*>(tag), events[i].events);
        }
    }
    for (Peer* peer : peers.TakeThoseDueForTurn()) {
        if (!peer->IsClosed() && !ending) {
            TakeTurn(*peer);
        }
    }
    acceptor.ResumeAfterPause();
    peers.LookForStalled();
}

int Server::NextWaitMs(int playerMs) const
{
    if (peers.SomebodyIsDueForTurn()) {
        return 0;
    }
    return Sooner(playerMs, Sooner(acceptor.PauseMs(), peers.NextLookMs()));
}

/// One at a time: asking once more whether there is another one costs as much as taking one in.
void Server::AcceptPeer()
{
    if (peers.IsFull()) {
        Say("there are as many clients as can be served; more have to wait");
        acceptor.PauseUntilResumed();
        return;
    }
    Descriptor connected = acceptor.Next();
    if (!connected) {
        return;
    }
    Peer* peer = nullptr;
    try {
        peer = peers.Admit(std::move(connected));
    } catch (const std::bad_alloc&) {
        Say("there is no memory for a client; it was turned away");
    }
    if (peer) {
        TakeTurn(*peer);  // who connects has something to say, mostly at once
    }
}

void Server::OnPeer(Peer& peer, unsigned int events)
{
    if (peer.IsClosed()) {
        return;
    }
    if ((events & (EPOLLOUT | EPOLLHUP | EPOLLERR)) != 0) {
        peers.Flush(peer);
    }
    if (ending || peer.isDueForTurn) {
        peers.Settle(peer);
    } else {
        TakeTurn(peer);
    }
}

void Server::TakeTurn(Peer& peer)
{
    try {
        if (peer.hasWaitingInput || Receive(peer)) {
            HandleFrames(peer);
        }
    } catch (const std::bad_alloc&) {
        Commentary::Tell(peer.number, "dropped: there is no memory for what it sends");
        peers.Drop(peer);
    }
    if (!peer.IsClosed()) {
        peers.Flush(peer);
        peers.Settle(peer);
    }
}

/// \return whether there is something to look at
bool Server::Receive(Peer& peer)
{
    if (peer.inputEnded || peer.OwesReplies()) {
        return false;
    }
    const Peer::Arrival arrival = peer.Receive();
    if (arrival == Peer::Arrival::End) {
        peer.inputEnded = true;
        peer.subscriptions.Clear();
    }
    return arrival == Peer::Arrival::Bytes;
}

void Server::HandleFrames(Peer& peer)
{
    peer.hasWaitingInput = true;
    for (unsigned int handled = 0; handled < framesPerTurn && !peer.OwesReplies(); ++handled) {
        if (!HandleNextFrame(peer)) {
            break;
        }
    }
    if (!peer.hasWaitingInput) {
        peer.input.Trim();
    }
}

/// \return whether another one may follow
bool Server::HandleNextFrame(Peer& peer)
{
    ReceivedFrame frame{};
    const char* problem = nullptr;
    switch (peer.input.Next(frame, problem)) {
    case InputBlocks::Cut::NeedMore: peer.hasWaitingInput = false; return false;
    case InputBlocks::Cut::Malformed:
        Commentary::Tell(peer.number, "dropped: it sent ", problem);
        peers.Drop(peer);
        return false;
    case InputBlocks::Cut::Frame: break;
    }
    switch (handler.Handle(peer, frame)) {
    case RequestHandler::Verdict::DropPeer: peers.Drop(peer); return false;
    case RequestHandler::Verdict::Quit: ending = true; return false;
    case RequestHandler::Verdict::GoOn: break;
    }
    return true;
}

void Server::FlushAtTheEnd()
{
    const Deadline deadline(lastFlushMs);
    acceptor.Close();
    poller.Remove(signals.Get());
    peers.StopReading();
    peers.FlushEverybody();
    peers.FlushPublished();
    while (peers.SomebodyIsOwed() && !deadline.HasPassed()) {
        epoll_event events[Poller::maxEvents];
        const int count = poller.Wait(events, deadline.RemainingMs());
        for (int i = 0; i < count; ++i) {
            OnPeer(*static_cast<Peer*>(events[i].data.ptr), events[i].events);
        }
        peers.BuryDropped();
    }
}

}  // namespace sim
