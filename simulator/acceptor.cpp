#include "simulator/acceptor.h"

#include "simulator/commentary.h"

#include "platform/src/messaging_directory.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>

namespace sim {

using namespace platform;

namespace {

/// After a failure that lasts a while; trying again at once would take a whole processor.
constexpr int pauseAfterFailureMs = 100;

constexpr unsigned int refusalsAtOnce = 64;

Descriptor OpenSpare() { return Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC)); }

}  // namespace

Acceptor::Acceptor(int socket, Poller& pollerToUse) : listeningSocket(socket), poller(pollerToUse)
{
}

void Acceptor::Open()
{
    spare = OpenSpare();
    StartWatching();
}

Descriptor Acceptor::Next()
{
    for (;;) {
        Descriptor connected(
            accept4(listeningSocket, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!connected) {
            OnFailure(errno);
            return connected;
        }
        toldRefusal = false;
        // Asked of the kernel, and before a byte is read.
        if (IsTrustedPeer(connected.Get())) {
            return connected;
        }
        Say("a client of another user was turned away");
    }
}

void Acceptor::OnFailure(int error)
{
    switch (error) {
    case EMFILE:
    case ENFILE:
        RefuseThoseWaiting();
        Pause(pauseAfterFailureMs);
        break;
    case ENOMEM:
    case ENOBUFS: Pause(pauseAfterFailureMs); break;
    default:
        // Nobody there any more, or a client that has gone before it was accepted.
        break;
    }
}

/// Closing their connections tells clients that they wait for nothing.
void Acceptor::RefuseThoseWaiting()
{
    if (!toldRefusal) {
        toldRefusal = true;
        Say("no descriptors left; clients are turned away");
    }
    spare = Descriptor();
    for (unsigned int refused = 0; refused < refusalsAtOnce; ++refused) {
        const Descriptor connected(accept4(listeningSocket, nullptr, nullptr, SOCK_CLOEXEC));
        if (!connected) {
            break;
        }
    }
    spare = OpenSpare();
}

void Acceptor::PauseUntilResumed() { Pause(-1); }

void Acceptor::Resume()
{
    if (!accepts && !pause.IsLimited()) {
        StartWatching();
    }
}

void Acceptor::ResumeAfterPause()
{
    if (!accepts && pause.HasPassed()) {
        StartWatching();
    }
}

void Acceptor::Close()
{
    if (accepts) {
        Pause(-1);
    }
}

void Acceptor::Pause(int pauseMs)
{
    if (accepts) {
        accepts = false;
        poller.Remove(listeningSocket);
    }
    pause = Deadline(pauseMs);
}

void Acceptor::StartWatching()
{
    accepts = poller.Add(listeningSocket, EPOLLIN, this);
    if (!accepts) {
        pause = Deadline(pauseAfterFailureMs);
    }
}

}  // namespace sim
