#include "simulator/listener.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace sim {

using namespace platform;

namespace {

std::string Why() { return std::strerror(errno); }

/// Makes the folders that the parts of \p name before the last stand for.
bool MakeFolders(int folder, const std::string& name)
{
    Descriptor parent(fcntl(folder, F_DUPFD_CLOEXEC, 0));
    std::size_t start = 0;
    for (std::size_t slash = name.find('/'); slash != std::string::npos;
         slash = name.find('/', start)) {
        const std::string part = name.substr(start, slash - start);
        if (!parent || (mkdirat(parent.Get(), part.c_str(), 0700) != 0 && errno != EEXIST)) {
            return false;
        }
        std::string nothingBehind;
        parent = OpenParent(parent.Get(), part + "/", nothingBehind);
        start = slash + 1;
    }
    return static_cast<bool>(parent);
}

bool IsSameFile(int fd, int folder, const std::string& name)
{
    struct stat opened {};
    struct stat named {};
    return fstat(fd, &opened) == 0 &&
           fstatat(folder, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

}  // namespace

Listener::~Listener()
{
    if (bound) {
        unlinkat(folder.Get(), fileName.c_str(), 0);
    }
    // While it is still held: whoever gets the lock of a removed file sees that and starts anew.
    if (locked) {
        unlinkat(folder.Get(), lockName.c_str(), 0);
    }
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
    if (MakeFolders(directory.Fd(), name)) {
        folder = OpenParent(directory.Fd(), name, fileName);
    }
    if (!folder) {
        problem = path + ": the folder cannot be opened: " + Why();
        return false;
    }
    lockName = fileName + ".lock";
    return true;
}

bool Listener::Lock(std::string& problem)
{
    bool again = true;
    while (again) {
        if (TryLock(again, problem)) {
            return true;
        }
    }
    return false;
}

bool Listener::TryLock(bool& again, std::string& problem)
{
    again = false;
    // Non-blocking for the case that somebody put a pipe there.
    lock =
        Descriptor(openat(folder.Get(), lockName.c_str(),
                          O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0600));
    struct stat found {};
    if (!lock || fstat(lock.Get(), &found) != 0) {
        problem = path + ".lock: cannot be opened: " + Why();
        return false;
    }
    if (!S_ISREG(found.st_mode)) {
        problem = path + ".lock: is not a file";
        return false;
    }
    if (flock(lock.Get(), LOCK_EX | LOCK_NB) != 0) {
        again = errno == EINTR;
        problem = errno == EWOULDBLOCK ? path + ": another service runs under this name"
                                       : path + ".lock: cannot be locked: " + Why();
        return false;
    }
    // The service that had it may have ended, and removed the file, since it was opened.
    locked = IsSameFile(lock.Get(), folder.Get(), lockName);
    again = !locked;
    return locked;
}

bool Listener::RemoveStaleSocket(std::string& problem) const
{
    struct stat found {};
    if (fstatat(folder.Get(), fileName.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno == ENOENT) {
            return true;
        }
        problem = path + ": " + Why();
        return false;
    }
    if (!S_ISSOCK(found.st_mode)) {
        problem = path + ": is there already and not a socket; left as it is";
        return false;
    }
    if (unlinkat(folder.Get(), fileName.c_str(), 0) != 0) {
        problem = path + ": the stale socket cannot be removed: " + Why();
        return false;
    }
    return true;
}

bool Listener::Bind(std::string& problem)
{
    // Through the descriptor: the folder cannot be swapped, and however long its path is, the name
    // alone has to fit a socket address.
    const std::string address = "/proc/self/fd/" + std::to_string(folder.Get()) + "/" + fileName;
    sockaddr_un target{};
    target.sun_family = AF_UNIX;
    if (address.size() >= sizeof target.sun_path) {
        problem = path + ": the name is too long for a socket";
        return false;
    }
    std::memcpy(target.sun_path, address.c_str(), address.size() + 1);
    socketFd = Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    // The mode is set before there is a file, so that it is never another one.
    if (!socketFd || fchmod(socketFd.Get(), 0600) != 0 ||
        bind(socketFd.Get(), reinterpret_cast<const sockaddr*>(&target), sizeof target) != 0) {
        problem = path + ": no socket can be made there: " + Why();
        return false;
    }
    bound = true;
    if (listen(socketFd.Get(), SOMAXCONN) != 0) {
        problem = path + ": " + Why();
        return false;
    }
    return true;
}

}  // namespace sim
