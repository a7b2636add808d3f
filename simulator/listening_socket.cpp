#include "simulator/listening_socket.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace platform;
using namespace sim;

namespace {

bool Refuse(std::string& problem, const std::string& reason)
{
    problem = reason;
    return false;
}

std::string SocketError() { return std::strerror(errno); }

Descriptor NewSocket()
{
    return Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

const sockaddr* Generic(const sockaddr_un& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

/// Through the descriptor: the folder cannot be swapped, and its path may be of any length.
bool AddressOf(int folder, const std::string& name, sockaddr_un& address)
{
    const std::string place = "/proc/self/fd/" + std::to_string(folder) + "/" + name;
    if (place.size() >= sizeof address.sun_path) {
        return false;
    }
    address.sun_family = AF_UNIX;
    place.copy(address.sun_path, place.size());
    return true;
}

bool RemoveStaleSocket(int folder, const std::string& name, const sockaddr_un& address,
                       std::string& problem)
{
    struct stat found {};
    if (fstatat(folder, name.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno == ENOENT || Refuse(problem, ": " + SocketError());
    }
    if (!S_ISSOCK(found.st_mode)) {
        return Refuse(problem, ": is there already and not a socket; left as it is");
    }
    // A service may run without the lock: a forwarded socket has none, or its file was removed.
    const Descriptor client = NewSocket();
    const bool isTaken = connect(client.Get(), Generic(address), sizeof address) == 0;
    if (isTaken || errno == EAGAIN) {  // a full backlog is one of a service that lives
        return Refuse(problem, ": answers already; left as it is");
    }
    if (errno != ECONNREFUSED || unlinkat(folder, name.c_str(), 0) != 0) {
        return Refuse(problem, ": the stale socket cannot be removed: " + SocketError());
    }
    return true;
}

}  // namespace

bool sim::IsNamed(int folder, const std::string& name, const struct stat& file)
{
    struct stat named {};
    return fstatat(folder, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           file.st_dev == named.st_dev && file.st_ino == named.st_ino;
}

bool ListeningSocket::Open(int folderToUse, const std::string& fileName, std::string& problem)
{
    sockaddr_un address{};
    if (!AddressOf(folderToUse, fileName, address)) {
        return Refuse(problem, ": the name is too long for a socket");
    }
    if (!RemoveStaleSocket(folderToUse, fileName, address, problem)) {
        return false;
    }
    folder = folderToUse;
    name = fileName;
    socketFd = NewSocket();
    // The mode is set before bind() makes the file, so the file never has another one.
    if (!socketFd || fchmod(socketFd.Get(), 0600) != 0 ||
        bind(socketFd.Get(), Generic(address), sizeof address) != 0 ||
        fstatat(folder, name.c_str(), &bound, AT_SYMLINK_NOFOLLOW) != 0) {
        return Refuse(problem, ": no socket can be made there: " + SocketError());
    }
    return listen(socketFd.Get(), SOMAXCONN) == 0 || Refuse(problem, ": " + SocketError());
}

void ListeningSocket::Close()
{
    if (bound.st_ino != 0 && IsNamed(folder, name, bound)) {
        unlinkat(folder, name.c_str(), 0);
    }
    bound = {};
    socketFd = Descriptor();
}
