#include "simulator/control/connection.h"

#include <algorithm>
#include <cerrno>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <utility>

using namespace platform;
using namespace sim;

namespace {

/// A control client that leaves its answer unread for so long is dropped.
constexpr int patienceMs = 2000;

}  // namespace

ControlConnection::ControlConnection(Descriptor connected, std::uint64_t firstRequest)
    : nextRequest(firstRequest), fd(std::move(connected))
{
}

void ControlConnection::Receive()
{
    input.erase(0, std::exchange(begin, 0));
    char bytes[4096];
    const ssize_t count = recv(Fd(), bytes, sizeof bytes, MSG_DONTWAIT);
    input.append(bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    ended = count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR);
    mayHaveLine = true;
}

ControlConnection::Cut ControlConnection::Next(std::string& line)
{
    std::size_t end = input.find('\n', begin);
    if (isSkipping) {
        isSkipping = end == std::string::npos;
        begin = isSkipping ? input.size() : end + 1;
        end = input.find('\n', begin);
    }
    const bool isWhole = end != std::string::npos;
    const std::size_t length = (isWhole ? end : input.size()) - begin;
    if (length > longestLine) {
        isSkipping = !isWhole;
    } else if (!isWhole) {
        mayHaveLine = false;
        begin += ended ? length : 0;
        return ended && length > 0 ? Cut::HalfLine : Cut::Nothing;
    } else {
        line.assign(input, begin, length);
    }
    begin += length + (isWhole ? 1 : 0);
    return length > longestLine ? Cut::TooLong : Cut::Line;
}

void ControlConnection::Queue(const std::string& answer) { output += answer + '\n'; }

void ControlConnection::Flush()
{
    while (!output.empty()) {
        const ssize_t sent = send(Fd(), output.data(), output.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent < 0 && errno != EAGAIN) {
            Close();
            return;
        }
        if (sent <= 0) {
            patience = patience.IsLimited() ? patience : Deadline(patienceMs);
            return;
        }
        output.erase(0, static_cast<std::size_t>(sent));
        patience = Deadline(-1);
    }
}

unsigned int ControlConnection::Events() const
{
    const bool hasRoom = !ended && !mayHaveLine;
    return (hasRoom ? EPOLLIN : 0u) | (output.empty() ? 0u : EPOLLOUT);
}
