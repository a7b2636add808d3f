#include "simulator/peer.h"

#include <cerrno>
#include <new>
#include <sys/socket.h>
#include <utility>

namespace sim {

using namespace platform;

namespace {

/// Asked for; the kernel grants what the machine's limit allows.
constexpr int sendBufferSize = 1024 * 1024;

constexpr unsigned int maxPieces = 64;

ssize_t SendPieces(int fd, iovec* pieces, std::size_t count)
{
    constexpr int flags = MSG_DONTWAIT | MSG_NOSIGNAL;
    if (count == 1) {
        return send(fd, pieces[0].iov_base, pieces[0].iov_len, flags);
    }
    msghdr message{};
    message.msg_iov = pieces;
    message.msg_iovlen = count;
    return sendmsg(fd, &message, flags);
}

}  // namespace

Peer::Peer(Descriptor connected, unsigned int peerNumber)
    : number(peerNumber), fd(std::move(connected))
{
}

Peer::Arrival Peer::Receive()
{
    std::size_t size = 0;
    unsigned char* const room = input.Room(size);
    if (!room) {
        throw std::bad_alloc();
    }
    ssize_t received;
    do {
        received = recv(fd.Get(), room, size, MSG_DONTWAIT);
    } while (received < 0 && errno == EINTR);
    if (received > 0) {
        input.Received(static_cast<std::size_t>(received));
        return Arrival::Bytes;
    }
    // A peer that is gone is seen as an end or as an error, depending on what it left unread.
    return received < 0 && errno == EAGAIN ? Arrival::NothingNow : Arrival::End;
}

void Peer::PrepareForNotifications()
{
    if (!hasLargeBuffer) {
        hasLargeBuffer = true;
        setsockopt(fd.Get(), SOL_SOCKET, SO_SNDBUF, &sendBufferSize, sizeof sendBufferSize);
    }
}

void Peer::Flush()
{
    blocked = false;
    while (!backlog.IsEmpty()) {
        iovec pieces[maxPieces];
        std::size_t total = 0;
        const std::size_t count = backlog.Gather(pieces, maxPieces, total);
        const ssize_t sent = SendPieces(fd.Get(), pieces, count);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent < 0 && errno != EAGAIN) {
            dead = true;
            backlog.Clear();
            // What it asked before is still read. Told the end now, it does not wait for replies.
            shutdown(fd.Get(), SHUT_WR);
            return;
        }
        if (sent > 0) {
            backlog.Sent(static_cast<std::size_t>(sent));
            tookSomething = true;
        }
        if (sent < 0 || static_cast<std::size_t>(sent) < total) {
            blocked = true;
            return;
        }
    }
}

void Peer::Close()
{
    fd = Descriptor();
    subscriptions.Clear();
    backlog.Clear();
    blocked = false;
}

}  // namespace sim
