#include "tests/fuzz/sockets.h"

#include "tests/fuzz/fuzz_target.h"
#include "tests/harness/local_socket.h"

#include <cerrno>
#include <sys/socket.h>
#include <sys/time.h>

Descriptor ListenAt(const std::string& path)
{
    Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    Require(BindSocket(fd.Get(), path) && listen(fd.Get(), 128) == 0,
            "cannot make a listening socket");
    return fd;
}

Descriptor Connect(const std::string& path)
{
    Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const timeval limit{10, 0};
    setsockopt(fd.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(fd.Get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    Require(ConnectSocket(fd.Get(), path), "cannot connect");
    return fd;
}

bool SendAll(int fd, const std::string& bytes)
{
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t count = send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) {  // the fuzzer's timer
            continue;
        }
        Require(count >= 0 || errno != EAGAIN, "the other side does not read");
        if (count < 0) {
            return false;
        }
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

bool ReceiveExactly(int fd, std::size_t size)
{
    while (size > 0) {
        char buffer[64];
        const ssize_t count = recv(fd, buffer, size < sizeof buffer ? size : sizeof buffer, 0);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        Require(count >= 0 || errno != EAGAIN, "the other side does not answer");
        if (count <= 0) {
            return false;
        }
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

std::string ReceiveAll(int fd)
{
    std::string received;
    char buffer[16384];
    ssize_t count;
    while ((count = recv(fd, buffer, sizeof buffer, MSG_DONTWAIT)) > 0) {
        received.append(buffer, static_cast<std::size_t>(count));
    }
    return received;
}

bool HasEnded(int fd)
{
    char byte;
    const ssize_t count = recv(fd, &byte, 1, MSG_DONTWAIT | MSG_PEEK);
    return count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR);
}

void EndSending(int fd) { shutdown(fd, SHUT_WR); }
