#include "simulator/control/server.h"

#include "simulator/control/answers.h"

#include <algorithm>
#include <new>
#include <utility>

using namespace platform;
using namespace sim;

ControlServer::ControlServer(int listeningSocket, RequestHistory& historyToKeep,
                             RunControlLine runLineToUse)
    : acceptor(listeningSocket, poller), history(historyToKeep), runLine(std::move(runLineToUse))
{
    connections.reserve(most);
}

void ControlServer::OnEvents()
{
    epoll_event events[Poller::maxEvents];
    const int count = poller.Wait(events, 0);
    for (int i = 0; i < count; ++i) {
        if (events[i].data.ptr == &acceptor) {
            Accept();
            continue;
        }
        ControlConnection& connection = *static_cast<ControlConnection*>(events[i].data.ptr);
        if ((events[i].events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0) {
            connection.Receive();
        }
        if ((events[i].events & (EPOLLHUP | EPOLLERR)) != 0 && connection.job.poll) {
            connection.Close();  // no one reads its answer
        }
    }
}

void ControlServer::Advance()
{
    Budget budget;
    for (std::size_t i = 0; i < connections.size() && !budget.IsSpent(); ++i) {
        TakeTurn(*connections[nextTurn++ % connections.size()], budget);
    }
}

void ControlServer::Accept()
{
    Descriptor connected = connections.size() < most ? acceptor.Next() : Descriptor();
    if (!connected) {
        if (connections.size() >= most) {
            acceptor.Pause();
        }
        return;
    }
    auto connection = std::make_unique<ControlConnection>(std::move(connected), history.Next());
    if (poller.Control(EPOLL_CTL_ADD, connection->Fd(), EPOLLIN, connection.get())) {
        connection->watchedEvents = EPOLLIN;
        connections.push_back(std::move(connection));
        history.Start();
    }
}

/// Polls its job, then carries out its lines until one of them has to wait.
void ControlServer::TakeTurn(ControlConnection& connection, Budget& budget)
{
    PollJob(connection, budget);
    std::string line;
    while (connection.HasTurn() && !budget.IsSpent()) {
        budget.SpendStep();
        Answer answer;
        switch (connection.Next(line)) {
        case ControlConnection::Cut::Nothing: return;
        case ControlConnection::Cut::TooLong:
            answer = Failed("the line is longer than 65536 bytes");
            break;
        case ControlConnection::Cut::HalfLine: answer = Failed("the line has no end"); break;
        case ControlConnection::Cut::Line: answer = runLine(line, connection, budget); break;
        }
        if (answer) {
            connection.Queue(*answer);
        }
        PollJob(connection, budget);
    }
}

void ControlServer::PollJob(ControlConnection& connection, Budget& budget)
{
    const Answer answer =
        connection.IsClosed() || !connection.job.poll ? Answer() : connection.job.poll(budget);
    if (answer) {
        connection.job = Job();
        connection.Queue(*answer);
    }
}

void ControlServer::Flush()
{
    for (const auto& connection : connections) {
        Finish(*connection);
    }
    const auto isClosed = [](const auto& connection) { return connection->IsClosed(); };
    const auto end = std::remove_if(connections.begin(), connections.end(), isClosed);
    const bool hasGone = end != connections.end();
    connections.erase(end, connections.end());
    for (auto closed = end; closed != connections.end(); ++closed) {
        history.Stop();
    }
    acceptor.Resume(hasGone);
}

void ControlServer::Finish(ControlConnection& connection)
{
    if (!connection.IsClosed()) {
        connection.Flush();
    }
    if (connection.IsDone() || connection.Patience().HasPassed()) {
        connection.Close();
    }
    const unsigned int events = connection.IsClosed() ? 0 : connection.Events();
    if (!connection.IsClosed() && events != connection.watchedEvents &&
        poller.Control(EPOLL_CTL_MOD, connection.Fd(), events, &connection)) {
        connection.watchedEvents = events;
    }
}

int ControlServer::WaitMs() const
{
    Deadline next(acceptor.PauseMs());
    for (const auto& connection : connections) {
        if (connection->HasTurn() || connection->job.isBusy) {
            return 0;
        }
        next = next.Sooner(connection->Patience()).Sooner(connection->job.look);
    }
    return next.RemainingMs();
}
