#include "bench/raw_stream.h"

#include "bench/local_socket.h"

#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <utility>

namespace {

/// Starts \p work on the other end of the socket that \p ours becomes one end of.
Process StartOtherEnd(Descriptor& ours, const std::function<void(int)>& work)
{
    Ends ends = ConnectedEnds();
    ours = std::move(ends.ours);
    return Process(ends.theirs.Get(), work);
}

[[noreturn]] void Echo(int fd)
{
    unsigned char bytes[rawHeaderSize];
    for (;;) {
        ReadFully(fd, bytes, sizeof bytes);
        WriteFully(fd, bytes, sizeof bytes);
    }
}

/// Answers each client once. Closes its ends of the connections when the client closes its own.
[[noreturn]] void AnswerEach(int listening)
{
    std::vector<Descriptor> clients;
    for (;;) {
        clients.emplace_back(Checked(accept(listening, nullptr, nullptr), "accept"));
        unsigned char bytes[rawHeaderSize];
        ReadFully(clients.back().Get(), bytes, sizeof bytes);
        WriteFully(clients.back().Get(), bytes, sizeof bytes);
        if (clients.size() > RawConnections::count) {
            clients.clear();
        }
    }
}

void SendMessages(int fd, std::size_t payloadSize)
{
    std::vector<unsigned char> header(rawHeaderSize);
    std::vector<unsigned char> payload(payloadSize);
    iovec pieces[] = {{header.data(), header.size()}, {payload.data(), payload.size()}};
    msghdr message{};
    message.msg_iov = pieces;
    message.msg_iovlen = 2;
    while (sendmsg(fd, &message, MSG_NOSIGNAL) > 0) {
    }
}

}  // namespace

RawPingPong::RawPingPong() : echo(StartOtherEnd(fd, Echo)) {}

void RawPingPong::RoundTrip()
{
    unsigned char bytes[rawHeaderSize] = {};
    WriteFully(fd.Get(), bytes, sizeof bytes);
    ReadFully(fd.Get(), bytes, sizeof bytes);
}

RawConnections::RawConnections(const std::string& socketPath)
    : path(socketPath), listening(ListenAt(path)), service(listening.Get(), AnswerEach)
{
}

void RawConnections::RequestOnNewOne()
{
    connections.push_back(ConnectTo(path));
    unsigned char bytes[rawHeaderSize] = {};
    WriteFully(connections.back().Get(), bytes, sizeof bytes);
    ReadFully(connections.back().Get(), bytes, sizeof bytes);
}

void RawConnections::RequestOnEach()
{
    for (unsigned int i = 0; i < count; ++i) {
        RequestOnNewOne();
    }
}

void RawConnections::Close()
{
    // One more than those that are measured, so that the other end closes its ends now.
    RequestOnNewOne();
    connections.clear();
}

RawMessages::RawMessages(std::size_t payloadSize)
    : messageSize(static_cast<double>(rawHeaderSize + payloadSize)), buffer(64 * 1024),
      sender(StartOtherEnd(fd, [=](int end) { SendMessages(end, payloadSize); }))
{
}

double RawMessages::Receive()
{
    const ssize_t count = recv(fd.Get(), buffer.data(), buffer.size(), 0);
    if (count <= 0) {
        throw std::runtime_error("the raw sender has gone");
    }
    return static_cast<double>(count) / messageSize;
}
