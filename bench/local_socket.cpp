#include "bench/local_socket.h"

#include "bench/process.h"

#include <chrono>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <thread>

namespace {

Descriptor NewSocket()
{
    return Descriptor(Checked(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
}

sockaddr_un AddressOf(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.copy(address.sun_path, sizeof address.sun_path - 1) != path.size()) {
        throw std::length_error(path);
    }
    return address;
}

}  // namespace

Descriptor ListenAt(const std::string& path)
{
    Descriptor listening = NewSocket();
    const sockaddr_un address = AddressOf(path);
    Checked(bind(listening.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
            path.c_str());
    Checked(listen(listening.Get(), SOMAXCONN), path.c_str());
    return listening;
}

Descriptor ConnectTo(const std::string& path)
{
    Descriptor connected = NewSocket();
    const sockaddr_un address = AddressOf(path);
    Checked(connect(connected.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
            path.c_str());
    return connected;
}

Descriptor ConnectWhenReady(const std::string& path)
{
    for (int attempt = 0; attempt < 1000; ++attempt) {
        try {
            return ConnectTo(path);
        } catch (const std::system_error&) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    throw std::runtime_error(path + ": no service after 10 seconds");
}

Ends ConnectedEnds()
{
    int fds[2];
    Checked(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), "socketpair");
    return {Descriptor(fds[0]), Descriptor(fds[1])};
}

void WriteFully(int fd, const void* bytes, std::size_t size)
{
    const char* next = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t count = send(fd, next, size, MSG_NOSIGNAL);
        if (count <= 0) {
            throw std::runtime_error("the other end has gone");
        }
        next += count;
        size -= static_cast<std::size_t>(count);
    }
}

void ReadFully(int fd, void* bytes, std::size_t size)
{
    char* next = static_cast<char*>(bytes);
    while (size > 0) {
        const ssize_t count = recv(fd, next, size, 0);
        if (count <= 0) {
            throw std::runtime_error("the other end has gone");
        }
        next += count;
        size -= static_cast<std::size_t>(count);
    }
}
