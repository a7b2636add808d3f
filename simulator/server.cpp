#include "simulator/server.h"

#include "simulator/commentary.h"
#include "simulator/service/state_file.h"

#include "words/exit_status.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>
#include <sys/signalfd.h>

using namespace platform;
using namespace sim;
using std::chrono::microseconds;

sigset_t sim::StopSignals()
{
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGTERM);
    sigaddset(&stops, SIGINT);
    struct sigaction hangUp {};
    if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN) {
        sigaddset(&stops, SIGHUP);
    }
    return stops;
}

Server::Server(Listener& listener, const Options& optionsToUse, Logs& logsToKeep)
    : options(optionsToUse), acceptor(listener.Fd(), poller), peers(poller, faults),
      logs(logsToKeep), audience(peers, logs.recorder), outage(listener, acceptor, peers, service),
      handler(options, faults, logs, service, audience),
      player(service, audience, logs.history, options.quiet),
      endAt(options.forUs ? Deadline::Clock::now() + microseconds(*options.forUs)
                          : Deadline::Clock::time_point::max()),
      commands({service, peers, audience, logs, handler, player, faults, outage, ending}),
      control(listener.ControlFd(), logs.history,
              [this](const std::string& line, ControlConnection& connection, Budget& budget) {
                  return commands.Run(line, connection, budget);
              })
{
}

bool Server::Open(std::string& problem)
{
    const sigset_t stops = StopSignals();
    signals = Descriptor(signalfd(-1, &stops, SFD_CLOEXEC | SFD_NONBLOCK));
    const bool isOpen = signals && poller.Open() && alarm.Open(poller) && control.Open() &&
                        poller.Control(EPOLL_CTL_ADD, signals.Get(), EPOLLIN, &signals) &&
                        poller.Control(EPOLL_CTL_ADD, control.Fd(), EPOLLIN, &control);
    problem = isOpen ? "" : std::strerror(errno);
    return isOpen;
}

std::string Server::Restore(std::unique_ptr<Source> source)
{
    Restoring restoring(service, audience, std::move(source));
    for (Stage stage = Stage::Busy; stage == Stage::Busy;) {
        Budget budget;
        stage = restoring.Continue(budget);
    }
    return restoring.Mistake();
}

void Server::Play(std::unique_ptr<Source> source)
{
    player.Start(std::move(source), options.playing, /*isChecked*/ true);
}

int Server::Run()
{
    while (!ending) {
        player.Advance();
        control.Advance();
        peers.UpdatePublished();
        control.Flush();  // an answer says that the effect is on its way
        const bool clientHasGone = peers.BuryDropped();
        if (outage.IsOn()) {
            outage.EndInTime();
        } else {
            acceptor.Resume(clientHasGone);
        }
        ending = ending || (options.exitAtEnd && player.HasEnded()) ||
                 (options.forUs && Deadline::Clock::now() >= endAt);
        SetAlarm();
        WatchInput();
        Turn(NextWaitMs());
    }
    FlushAtTheEnd();
    return options.exitAtEnd && !player.Mistake().empty() ? words::exitUnusable : words::exitDone;
}

void Server::SetAlarm()
{
    const bool isAtOnce = player.WakeAt() == Player::atOnce;  // needs no alarm
    alarm.Set(isAtOnce ? endAt : std::min(player.WakeAt(), endAt));
}

/// Once for each time that there is no input, since input that is not read yet is an event too.
void Server::WatchInput()
{
    const int input = player.AwaitedInput();
    if (input < 0 || std::exchange(watchesInput, true)) {
        return;
    }
    constexpr unsigned int events = EPOLLIN | EPOLLONESHOT;
    if (!poller.Control(EPOLL_CTL_MOD, input, events, &player)) {
        poller.Control(EPOLL_CTL_ADD, input, events, &player);
    }
}

void Server::Turn(int waitMs)
{
    epoll_event events[Poller::maxEvents];
    const int count = poller.Wait(events, waitMs);
    for (int i = 0; i < count; ++i) {
        void* const tag = events[i].data.ptr;
        if (tag == &signals) {
            ending = true;
        } else if (tag == &control) {
            control.OnEvents();
        } else if (tag == &player) {
            watchesInput = false;
        } else if (tag == &acceptor) {
            AcceptPeer();
        } else if (tag != &alarm) {
            OnPeer(*static_cast<Peer*>(tag), events[i].events);
        }
    }
    // One budget for all of them, so that the events of the sockets do not wait long.
    for (Budget budget; peers.HasDue() && !budget.IsSpent() && !ending;) {
        TakeTurn(peers.TakeNextDue(), budget);
    }
    peers.Look();
}

int Server::NextWaitMs()
{
    int waitMs = ending || peers.HasDue() || player.WakeAt() == Player::atOnce ? 0 : -1;
    for (const int otherMs : {acceptor.PauseMs(), peers.NextLookMs(), control.WaitMs(),
                              logs.journal.Settle(), logs.recorder.Settle(), SettleOutputs()}) {
        waitMs = waitMs < 0 || (otherMs >= 0 && otherMs < waitMs) ? otherMs : waitMs;
    }
    return waitMs;
}

/// One at a time: asking whether another one waits costs as much as accepting it.
void Server::AcceptPeer()
{
    if (outage.IsOn()) {
        return;  // the event was older than the restart
    }
    if (ending || peers.IsFull()) {
        acceptor.Pause();
        return;
    }
    Descriptor connected = acceptor.Next();
    if (!connected) {
        return;
    }
    try {
        if (Peer* const peer = peers.Admit(std::move(connected))) {
            OnPeer(*peer, 0);  // most clients send a request at once
        }
    } catch (const std::bad_alloc&) {
        Tell(0, "there is no memory for a client; it was turned away");
    }
}

void Server::OnPeer(Peer& peer, unsigned int events)
{
    if (peer.IsClosed()) {
        return;
    }
    if ((events & (EPOLLHUP | EPOLLERR)) != 0) {
        peer.delays.Clear();  // it awaits nothing any more, and its last requests can be read
    }
    if ((events & (EPOLLOUT | EPOLLHUP | EPOLLERR)) != 0) {
        peer.Flush();
    }
    if (ending || peer.isDueForTurn) {
        peers.Update(peer);
    } else {
        Budget budget;
        TakeTurn(peer, budget);
    }
}

void Server::TakeTurn(Peer& peer, Budget& budget)
{
    try {
        if (peer.IsReceiving() && !peer.IsPaused()) {
            budget.Spend(peer.Receive());
        }
        while (peer.HasWork() && !budget.IsSpent() && !ending) {
            if (peer.outcome.IsPublished()) {
                HandleNextFrame(peer, budget);
            }
            handler.Publish(peer.outcome, budget);
        }
    } catch (const std::bad_alloc&) {
        peers.Drop(peer, "dropped: there is no memory for what it sends");
    }
    if (!peer.IsClosed()) {
        peers.Update(peer);
    }
}

void Server::HandleNextFrame(Peer& peer, Budget& budget)
{
    ReceivedFrame frame{};
    const char* problem = nullptr;
    switch (peer.input.Next(frame, problem)) {
    case InputBlocks::Cut::NeedMore: peer.AwaitMore(); return;
    case InputBlocks::Cut::Malformed: peers.Drop(peer, "dropped: it sent ", problem); return;
    case InputBlocks::Cut::Frame: break;
    }
    if (!RequestHandler::IsQuit(frame.header) && !peers.Seat(peer)) {
        return;
    }
    switch (handler.Handle(peer, frame, budget)) {
    case RequestHandler::Verdict::DropPeer: peers.Drop(peer); break;
    case RequestHandler::Verdict::Quit: ending = true; break;
    case RequestHandler::Verdict::Restart: outage.Begin(handler.RestartMs()); break;
    case RequestHandler::Verdict::GoOn: break;
    }
}

void Server::FlushAtTheEnd()
{
    const Deadline deadline(1000);
    constexpr int longestWaitMs = 100;
    acceptor.Pause();
    poller.Control(EPOLL_CTL_DEL, signals.Get());
    peers.StopReading();
    peers.UpdatePublished();
    while (peers.OwesAnything() && !deadline.HasPassed()) {
        Turn(std::min(deadline.RemainingMs(), longestWaitMs));
        peers.BuryDropped();
    }
}
