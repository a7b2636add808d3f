#include "tests/harness/RawPeer.h"

#include "platform/src/big_endian.h"
#include "platform/src/deadline.h"
#include "tests/harness/local_socket.h"
#include "tests/harness/wait_limits.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

using namespace platform;

namespace {

[[noreturn]] void ThrowErrno(const std::string& what)
{
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

void WaitReady(int fd, short events, const Deadline& deadline, const char* what)
{
    pollfd wait{fd, events, 0};
    while (poll(&wait, 1, deadline.RemainingMs()) <= 0) {
        if (deadline.HasPassed()) {
            throw std::runtime_error(std::string("raw peer: timed out while waiting ") + what);
        }
    }
}

}  // namespace

std::string U32(unsigned int value)
{
    unsigned char bytes[4];
    PutU32(bytes, value);
    return {bytes, bytes + 4};
}

std::string Bytes(std::initializer_list<unsigned int> bytes)
{
    std::string text;
    for (const unsigned int byte : bytes) {
        text += static_cast<char>(static_cast<unsigned char>(byte));
    }
    return text;
}

std::string FrameBytes(FrameKind kind, unsigned int messageId, unsigned int correlation,
                       const std::string& payload)
{
    unsigned char header[frameHeaderSize];
    EncodeFrameHeader({kind, messageId, correlation, static_cast<unsigned int>(payload.size())},
                      header);
    return std::string(header, header + frameHeaderSize) + payload;
}

RawConnection::RawConnection(Descriptor connected) : fd(std::move(connected)) {}

void RawConnection::Send(const std::string& bytes)
{
    const Deadline deadline(eventDeadlineMs);
    for (std::size_t sent = 0; sent < bytes.size();) {
        WaitReady(fd.Get(), POLLOUT, deadline, "to send");
        const ssize_t count =
            send(fd.Get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0) {
            sent += static_cast<std::size_t>(count);
        } else if (errno != EAGAIN && errno != EINTR) {
            ThrowErrno("raw peer: send");
        }
    }
}

void RawConnection::SendFrame(FrameKind kind, unsigned int messageId, unsigned int correlation,
                              const std::string& payload)
{
    Send(FrameBytes(kind, messageId, correlation, payload));
}

bool RawConnection::ReceiveMore()
{
    const Deadline deadline(eventDeadlineMs);
    for (;;) {
        WaitReady(fd.Get(), POLLIN, deadline, "for bytes");
        char bytes[65536];
        const ssize_t count = recv(fd.Get(), bytes, sizeof bytes, MSG_DONTWAIT);
        if (count > 0) {
            received.append(bytes, static_cast<std::size_t>(count));
            return true;
        }
        if (count == 0 || errno == ECONNRESET) {
            return false;
        }
        if (errno != EAGAIN && errno != EINTR) {
            ThrowErrno("raw peer: recv");
        }
    }
}

void RawConnection::ReceiveAtLeast(std::size_t size)
{
    while (received.size() < size) {
        if (!ReceiveMore()) {
            throw std::runtime_error("raw peer: connection closed before the end of a frame");
        }
    }
}

FrameHeader RawConnection::ReceiveHeader()
{
    ReceiveAtLeast(frameHeaderSize);
    FrameHeader header{};
    const auto* const bytes = reinterpret_cast<const unsigned char*>(received.data());
    if (const char* problem = DecodeFrameHeader(bytes, header)) {
        throw std::runtime_error(std::string("raw peer: received ") + problem);
    }
    return header;
}

RawFrame RawConnection::ReceiveFrame()
{
    const FrameHeader header = ReceiveHeader();
    ReceiveAtLeast(frameHeaderSize + header.length);
    RawFrame frame{header, received.substr(frameHeaderSize, header.length)};
    received.erase(0, frameHeaderSize + header.length);
    return frame;
}

std::string RawConnection::ReceiveLine()
{
    std::size_t end = 0;
    while ((end = received.find('\n')) == std::string::npos) {
        if (!ReceiveMore()) {
            throw std::runtime_error("raw peer: connection closed before the end of a line");
        }
    }
    std::string line = received.substr(0, end);
    received.erase(0, end + 1);
    return line;
}

bool RawConnection::HasInput() const
{
    pollfd input{fd.Get(), POLLIN, 0};
    return !received.empty() || poll(&input, 1, 0) == 1;
}

bool RawConnection::HasEnded() const
{
    char byte = 0;
    const ssize_t count = recv(fd.Get(), &byte, 1, MSG_DONTWAIT | MSG_PEEK);
    return received.empty() && (count == 0 || (count < 0 && errno != EAGAIN));
}

void RawConnection::ExpectHangUp()
{
    WaitReady(fd.Get(), 0, Deadline(eventDeadlineMs), "for the end");
}

RawFrame RawConnection::ExpectRequest(unsigned int messageId)
{
    RawFrame frame = ReceiveFrame();
    if (frame.header.kind != FrameKind::Request || frame.header.messageId != messageId) {
        throw std::runtime_error("raw peer: expected request " + std::to_string(messageId) +
                                 ", received " + std::to_string(frame.header.messageId) +
                                 " of kind " + std::to_string(static_cast<int>(frame.header.kind)));
    }
    return frame;
}

void RawConnection::Reply(const RawFrame& request, const std::string& payload)
{
    SendFrame(FrameKind::Reply, messages::ReplyTo(request.header.messageId),
              request.header.correlation, payload);
}

unsigned int RawConnection::AcceptSubscription()
{
    const RawFrame request = ExpectRequest(messages::subscribe);
    Reply(request, U32(static_cast<unsigned int>(Result::Accepted)));
    return GetU32(reinterpret_cast<const unsigned char*>(request.payload.data()));
}

void RawConnection::ExpectClosed()
{
    while (ReceiveMore()) {
        received.clear();
    }
}

void RawConnection::Close() { fd = Descriptor(); }

void RawConnection::EndSending() { shutdown(fd.Get(), SHUT_WR); }

RawClient::RawClient(const std::string& path)
    : RawConnection(Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)))
{
    if (!ConnectSocket(Fd(), path)) {
        ThrowErrno("connect to " + path);
    }
}

RawService::RawService(const std::string& socketPath, int waiting)
    : path(socketPath), listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    if (!BindSocket(listener.Get(), path) || listen(listener.Get(), waiting) != 0) {
        ThrowErrno("listen at " + path);
    }
}

RawService::~RawService() { unlink(path.c_str()); }

bool RawService::HasClient() const
{
    pollfd wait{listener.Get(), POLLIN, 0};
    return poll(&wait, 1, 0) > 0;
}

std::unique_ptr<RawConnection> RawService::Accept()
{
    WaitReady(listener.Get(), POLLIN, Deadline(eventDeadlineMs), "for a client");
    Descriptor fd(accept4(listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!fd) {
        ThrowErrno("accept at " + path);
    }
    return std::make_unique<RawConnection>(std::move(fd));
}
