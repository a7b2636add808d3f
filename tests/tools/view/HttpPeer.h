#pragma once

#include "platform/src/descriptor.h"
#include "tests/harness/wait_limits.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <netinet/in.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>

/// A connection to a page, which sends any bytes.
class HttpPeer {
public:
    explicit HttpPeer(unsigned int port) : fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const timeval limit{2 * eventDeadlineMs / 1000, 0};
        setsockopt(fd.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(fd.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            throw std::runtime_error(std::string("connect: ") + std::strerror(errno));
        }
    }

    /// The page may close the connection before it has read everything.
    void Send(const std::string& text) { send(fd.Get(), text.data(), text.size(), MSG_NOSIGNAL); }

    /// \return whether bytes came; false at the end of the connection
    bool Read()
    {
        char buffer[65536];
        const ssize_t count = recv(fd.Get(), buffer, sizeof buffer, 0);
        if (count < 0 && errno == EAGAIN) {
            throw std::runtime_error("no answer in time; received: " + received.substr(0, 2000));
        }
        received.append(buffer, static_cast<std::size_t>(count > 0 ? count : 0));
        return count > 0;
    }

    const std::string& Received() const { return received; }

    const std::string& ReadToTheEnd()
    {
        while (Read()) {
        }
        return received;
    }

    /// \return what was received, with \p text at \p from or later
    const std::string& ReadUntil(const std::string& text, std::size_t from = 0)
    {
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(2 * eventDeadlineMs);
        while (received.find(text, from) == std::string::npos) {
            from = std::max(from, received.size() - std::min(received.size(), text.size()));
            if (std::chrono::steady_clock::now() > deadline || !Read()) {
                throw std::runtime_error("no " + text + " in: " + received.substr(0, 2000));
            }
        }
        return received;
    }

private:
    platform::Descriptor fd;
    std::string received;
};

/// An answer of a page.
struct HttpAnswer {
    /// \param line  of the headers
    bool Has(const std::string& line) const
    {
        return headers.find("\r\n" + line + "\r\n") != std::string::npos;
    }

    unsigned int status;
    std::string headers;
    std::string body;
};

inline HttpAnswer ParseAnswer(const std::string& text)
{
    const std::size_t end = text.find("\r\n\r\n");
    if (text.compare(0, 9, "HTTP/1.1 ") != 0 || end == std::string::npos) {
        throw std::runtime_error("no answer: " + text.substr(0, 2000));
    }
    return {static_cast<unsigned int>(std::stoul(text.substr(9, 3))), text.substr(0, end + 2),
            text.substr(end + 4)};
}

inline std::string RequestFor(const std::string& path, const std::string& host = "localhost",
                              const std::string& method = "GET")
{
    return method + " " + path + " HTTP/1.1\r\nHost: " + host + "\r\n";
}

/// \param request  without its end
inline HttpAnswer Exchange(unsigned int port, const std::string& request)
{
    HttpPeer peer(port);
    peer.Send(request + "Connection: close\r\n\r\n");
    return ParseAnswer(peer.ReadToTheEnd());
}

inline HttpAnswer Get(unsigned int port, const std::string& path)
{
    return Exchange(port, RequestFor(path));
}
