#include "simulator/clients/peer.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <sys/socket.h>
#include <utility>

using namespace platform;
using namespace sim;

namespace {

/// The size asked for; the kernel limits it to the machine's maximum.
constexpr int sendBufferSize = 1024 * 1024;

constexpr unsigned int maxPieces = 128;

/// The most bytes of one read, also when the room for a large frame is larger.
constexpr std::size_t mostAtOnce = 256 * 1024;

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
    : number(peerNumber), stall(peerNumber), fd(std::move(connected))
{
}

std::size_t Peer::Receive()
{
    std::size_t size = 0;
    unsigned char* const room = input.Room(size);
    if (!room) {
        throw std::bad_alloc();
    }
    const ssize_t received = recv(fd.Get(), room, std::min(size, mostAtOnce), MSG_DONTWAIT);
    if (received > 0) {
        input.Received(static_cast<std::size_t>(received));
        stage = Stage::Serving;
        return static_cast<std::size_t>(received);
    }
    // A disconnected peer causes an end or an error, depending on what it left unread.
    if (received == 0 || (errno != EAGAIN && errno != EINTR)) {
        stage = Stage::Ended;
        subscriptions.Clear();
    }
    return 0;
}

void Peer::AwaitMore()
{
    stage = Stage::Receiving;
    input.Trim();
    heardAt = input.Unread() > 0 && !isSurplus ? Deadline::Clock::now() : heardAt;
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
    if (output == Output::Dead) {
        backlog.Clear();
        return;
    }
    output = Output::Open;
    while (!backlog.IsEmpty() && output == Output::Open) {
        iovec pieces[maxPieces];
        std::size_t total = 0;
        const std::size_t count = backlog.Gather(pieces, maxPieces, total);
        const ssize_t sent = SendPieces(fd.Get(), pieces, count);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent < 0 && errno != EAGAIN) {
            output = Output::Dead;
            subscriptions.Clear();
            backlog.Clear();
            // Its earlier requests are still served. It sees the end now and awaits no replies.
            shutdown(fd.Get(), SHUT_WR);
            return;
        }
        output = sent < static_cast<ssize_t>(total) ? Output::Blocked : Output::Open;
        if (output == Output::Open && count < maxPieces) {
            backlog.Clear();  // faster than Sent()
        } else {
            backlog.Sent(static_cast<std::size_t>(std::max<ssize_t>(sent, 0)));
        }
    }
    if (backlog.Notifications() == 0) {
        stall.CatchUp();
    }
}

void Peer::Close()
{
    fd = Descriptor();
    stage = Stage::Ended;
    output = Output::Dead;
    subscriptions.Clear();
    backlog.Clear();
    delays.Clear();
}

void Peer::Silence()
{
    isSilent = true;
    subscriptions.Clear();
    delays.Clear();
}
