#include "simulator/listener.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

using namespace platform;
using namespace sim;

namespace {

std::string Why() { return std::strerror(errno); }

/// Opens the folder that holds the last part of \p name, and makes the folders that are missing.
/// \return the folder, or none with errno set; \p lastPart becomes the rest of the name
Descriptor MakeParent(int top, const std::string& name, std::string& lastPart)
{
    Descriptor folder(fcntl(top, F_DUPFD_CLOEXEC, 0));
    std::size_t start = 0;
    for (std::size_t slash; (slash = name.find('/', start)) != std::string::npos;
         start = slash + 1) {
        const std::string part = name.substr(start, slash - start);
        if (!folder || (mkdirat(folder.Get(), part.c_str(), 0700) != 0 && errno != EEXIST)) {
            return Descriptor();
        }
        folder = OpenParent(folder.Get(), part + "/", lastPart);
    }
    lastPart = name.substr(start);
    return folder;
}

Descriptor NewSocket()
{
    return Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

const sockaddr* Generic(const sockaddr_un& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

}  // namespace

Listener::~Listener()
{
    if (bound.st_ino != 0 && IsNamed(bound, fileName)) {
        unlinkat(folder.Get(), fileName.c_str(), 0);
    }
    // The lock is still held; a service that locks a removed file tries again.
    struct stat locked {};
    if (lock && fstat(lock.Get(), &locked) == 0 && IsNamed(locked, lockName)) {
        unlinkat(folder.Get(), lockName.c_str(), 0);
    }
}

/// Whether \p name still names \p file, which is open, so that no other file has its number.
bool Listener::IsNamed(const struct stat& file, const std::string& name) const
{
    struct stat named {};
    return fstatat(folder.Get(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           file.st_dev == named.st_dev && file.st_ino == named.st_ino;
}

bool Listener::Refuse(std::string& problem, const std::string& reason) const
{
    problem = path + reason;
    return false;
}

bool Listener::Open(const std::string& name, std::string& problem)
{
    return OpenFolder(name, problem) && Lock(problem) && RemoveStaleSocket(problem) &&
           Bind(problem);
}

bool Listener::OpenFolder(const std::string& name, std::string& problem)
{
    if (directory.Open() != 0) {
        problem = directory.Problem();
        return false;
    }
    path = directory.Path() + "/" + name;
    if (!IsEndpointName(name)) {
        problem = "not an endpoint name";
        return false;
    }
    folder = MakeParent(directory.Fd(), name, fileName);
    if (!folder) {
        return Refuse(problem, ": the folder cannot be opened: " + Why());
    }
    lockName = fileName + ".lock";
    // Through the descriptor: the folder cannot be swapped, and its path may be of any length.
    const std::string place = "/proc/self/fd/" + std::to_string(folder.Get()) + "/" + fileName;
    if (place.size() >= sizeof address.sun_path) {
        return Refuse(problem, ": the name is too long for a socket");
    }
    address.sun_family = AF_UNIX;
    place.copy(address.sun_path, place.size());
    return true;
}

bool Listener::Lock(std::string& problem)
{
    struct stat found {};
    do {
        // Non-blocking, because the file may be a pipe.
        Descriptor file(openat(folder.Get(), lockName.c_str(),
                               O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY,
                               0600));
        if (!file || fstat(file.Get(), &found) != 0) {
            return Refuse(problem, ".lock: cannot be opened: " + Why());
        }
        if (!S_ISREG(found.st_mode)) {
            return Refuse(problem, ".lock: is not a file");
        }
        if (flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
            return Refuse(problem, errno == EWOULDBLOCK ? ": another service runs under this name"
                                                        : ".lock: cannot be locked: " + Why());
        }
        lock = std::move(file);
        // Since the file was opened, the service that held the lock may have removed it and ended.
    } while (!IsNamed(found, lockName));
    return true;
}

bool Listener::RemoveStaleSocket(std::string& problem) const
{
    struct stat found {};
    if (fstatat(folder.Get(), fileName.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno == ENOENT || Refuse(problem, ": " + Why());
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
    if (errno != ECONNREFUSED || unlinkat(folder.Get(), fileName.c_str(), 0) != 0) {
        return Refuse(problem, ": the stale socket cannot be removed: " + Why());
    }
    return true;
}

bool Listener::Bind(std::string& problem)
{
    socketFd = NewSocket();
    // The mode is set before bind() makes the file, so the file never has another one.
    if (!socketFd || fchmod(socketFd.Get(), 0600) != 0 ||
        bind(socketFd.Get(), Generic(address), sizeof address) != 0 ||
        fstatat(folder.Get(), fileName.c_str(), &bound, AT_SYMLINK_NOFOLLOW) != 0) {
        return Refuse(problem, ": no socket can be made there: " + Why());
    }
    return listen(socketFd.Get(), SOMAXCONN) == 0 || Refuse(problem, ": " + Why());
}
