#include "simulator/listener.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

using namespace platform;
using namespace sim;

namespace {

std::string CallError() { return std::strerror(errno); }

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

}  // namespace

Listener::~Listener()
{
    clients.Close();
    control.Close();
    // The lock is still held; a service that locks a removed file tries again.
    struct stat locked {};
    if (lock && fstat(lock.Get(), &locked) == 0 && IsNamed(folder.Get(), lockName, locked)) {
        unlinkat(folder.Get(), lockName.c_str(), 0);
    }
}

bool Listener::Refuse(std::string& problem, const std::string& reason) const
{
    problem = path + reason;
    return false;
}

bool Listener::Open(const std::string& name, std::string& problem)
{
    return OpenFolder(name, problem) && Lock(problem) && OpenSocket(clients, "", problem) &&
           OpenSocket(control, ".control", problem);
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
        return Refuse(problem, ": the folder cannot be opened: " + CallError());
    }
    lockName = fileName + ".lock";
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
            return Refuse(problem, ".lock: cannot be opened: " + CallError());
        }
        if (!S_ISREG(found.st_mode)) {
            return Refuse(problem, ".lock: is not a file");
        }
        if (flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
            return Refuse(problem, errno == EWOULDBLOCK
                                       ? ": another service runs under this name"
                                       : ".lock: cannot be locked: " + CallError());
        }
        lock = std::move(file);
        // Since the file was opened, the service that held the lock may have removed it and ended.
    } while (!IsNamed(folder.Get(), lockName, found));
    return true;
}

bool Listener::OpenSocket(ListeningSocket& socket, const char* ending, std::string& problem) const
{
    std::string reason;
    return socket.Open(folder.Get(), fileName + ending, reason) || Refuse(problem, ending + reason);
}
