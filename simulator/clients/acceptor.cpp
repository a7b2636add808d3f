#include "simulator/clients/acceptor.h"

#include "simulator/commentary.h"

#include "platform/src/messaging_directory.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>

using namespace platform;
using namespace sim;

namespace {

/// Trying again at once after a lasting failure would take a whole processor.
constexpr int pauseAfterFailureMs = 100;

constexpr unsigned int refusalsAtOnce = 64;

Descriptor OpenSpare() { return Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC)); }

}  // namespace

Acceptor::Acceptor(int socket, Poller& pollerToUse)
    : listeningSocket(socket), poller(pollerToUse), spare(OpenSpare())
{
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
        toldFailure = false;
        // The kernel tells the peer's user; checked before a byte is read.
        if (IsTrustedPeer(connected.Get())) {
            return connected;
        }
        Tell(0, "a client of another user was turned away");
    }
}

void Acceptor::OnFailure(int error)
{
    // No client waits any more, or it disconnected before it was accepted.
    if (error == EAGAIN || error == EINTR || error == ECONNABORTED) {
        return;
    }
    const bool noDescriptors = error == EMFILE || error == ENFILE;
    if (!toldFailure) {
        toldFailure = true;
        Tell(0, noDescriptors ? "no descriptors left; clients are turned away"
                              : "clients cannot be accepted; the service tries again");
    }
    if (noDescriptors) {
        RefuseWaitingClients();
    }
    Pause(pauseAfterFailureMs);
}

/// Closes their connections, so that the clients do not wait for a reply.
void Acceptor::RefuseWaitingClients()
{
    spare = Descriptor();
    unsigned int refused = 0;
    while (refused < refusalsAtOnce &&
           Descriptor(accept4(listeningSocket, nullptr, nullptr, SOCK_CLOEXEC))) {
        ++refused;
    }
    spare = OpenSpare();
}

void Acceptor::Pause(int pauseMs)
{
    if (accepts) {
        accepts = false;
        poller.Control(EPOLL_CTL_DEL, listeningSocket);
    }
    pause = Deadline(pauseMs);
}

void Acceptor::Resume(bool clientHasGone)
{
    if (accepts || (!pause.HasPassed() && !(clientHasGone && !pause.IsLimited()))) {
        return;
    }
    accepts = poller.Control(EPOLL_CTL_ADD, listeningSocket, EPOLLIN, this);
    if (!accepts) {
        pause = Deadline(pauseAfterFailureMs);
    }
}
