#include "platform/src/messaging_directory.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

using namespace platform;

namespace {

bool EndsIn(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string ConfiguredPath()
{
    const auto variable = [](const char* name) {
        const char* value = secure_getenv(name);
        return std::string(value ? value : "");
    };
    std::string path = variable("LINX_DIR");
    if (path.empty()) {
        path = variable("XDG_RUNTIME_DIR");
        path = path.empty() ? "/tmp/linx-" + std::to_string(geteuid()) : path + "/linx";
    }
    // With "/" or "/." at the end, open() would follow a symlink in the last part.
    while (path.size() > 1 && (path.back() == '/' || EndsIn(path, "/."))) {
        path.pop_back();
    }
    return path;
}

/// A path to the open \p folder, which cannot be swapped for another one after it was checked.
std::string PathTo(int folder) { return "/proc/self/fd/" + std::to_string(folder); }

/// Opens the folder at \p path when it may be trusted.
/// \param isNew  this call has just made the folder. Then it gets its mode, because the umask may
///               have removed rights, unless another folder is at the path already
/// \return 0, else an errno value with the reason in \p problem
int OpenTrusted(const std::string& path, bool isNew, Descriptor& opened, std::string& problem)
{
    // Without O_PATH open() needs the rights that the umask may have removed.
    Descriptor folder(open(path.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat found {};
    if (!folder || fstat(folder.Get(), &found) != 0) {
        const int error = errno;
        const bool isLink = lstat(path.c_str(), &found) == 0 && S_ISLNK(found.st_mode);
        problem = isLink ? "is a symbolic link"
                         : std::string("cannot be opened: ") + std::strerror(error);
        return error;
    }
    if (found.st_uid != geteuid()) {
        problem = "belongs to another user";
        return EPERM;
    }
    const bool hasMode = isNew && (found.st_mode & 0077) == 0
                             ? chmod(PathTo(folder.Get()).c_str(), 0700) == 0
                             : (found.st_mode & 07777) == 0700;
    if (!hasMode) {
        problem = "has another mode than 0700";
        return EPERM;
    }
    opened = std::move(folder);
    return 0;
}

bool IsPart(std::string_view part)
{
    const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
    return !part.empty() && part != "." && part != ".." && part.size() <= NAME_MAX &&
           std::none_of(part.begin(), part.end(), isControl);
}

/// Opening the socket file instead of \p folder would make connecting a fifth slower.
int ConnectBelow(int folder, const std::string& name, int fd, const Deadline& deadline)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = PathTo(folder) + "/" + name;
    if (path.size() >= sizeof address.sun_path) {
        return ENAMETOOLONG;
    }
    path.copy(address.sun_path, path.size());
    // Connecting waits for a service that is stopped and has a full backlog. 0 would be no limit.
    const int ms = deadline.IsLimited() ? std::max(deadline.RemainingMs(), 1) : 0;
    const timeval limit{ms / 1000, ms % 1000 * 1000};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    while (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        if (errno != EINTR) {
            return errno == EAGAIN ? ETIMEDOUT : errno;
        }
        if (deadline.HasPassed()) {
            return ETIMEDOUT;
        }
    }
    return 0;
}

int ConnectIn(int folder, const std::string& name, const Deadline& deadline, Descriptor& connected)
{
    std::string lastPart = name;
    Descriptor parent;  // only for a name with folders: each call counts on a fresh connection
    if (name.find('/') != std::string::npos && !(parent = OpenParent(folder, name, lastPart))) {
        return errno;
    }
    const int place = parent ? parent.Get() : folder;
    struct stat found {};
    if (fstatat(place, lastPart.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno;
    }
    // Connecting would follow a symbolic link. A user who may write to the folder can still put
    // one there after this check, but can put a socket there as well.
    if (!S_ISSOCK(found.st_mode)) {
        return ENOTSOCK;
    }
    Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd) {
        return errno;
    }
    if (const int error = ConnectBelow(place, lastPart, fd.Get(), deadline)) {
        return error;
    }
    if (!IsTrustedPeer(fd.Get())) {
        return EACCES;
    }
    connected = std::move(fd);
    return 0;
}

}  // namespace

int MessagingDirectory::Open()
{
    path = ConfiguredPath();
    folder = Descriptor();
    std::string reason;
    int error = EINVAL;
    if (path.front() != '/') {
        reason = "not an absolute path";
    } else if (EndsIn(path, "/..")) {
        reason = "ends in ..";
    } else if (const bool isNew = mkdir(path.c_str(), 0700) == 0; isNew || errno == EEXIST) {
        error = OpenTrusted(path, isNew, folder, reason);
    } else {
        error = errno;
        reason = std::string("cannot be made: ") + std::strerror(error);
    }
    problem = error == 0 ? "" : "messaging directory " + path + ": " + reason;
    return error;
}

int MessagingDirectory::Connect(const std::string& name, const Deadline& deadline,
                                Descriptor& connected) const
{
    if (!folder) {
        return ENOTCONN;
    }
    if (!IsEndpointName(name)) {
        return EINVAL;
    }
    int error = ConnectIn(folder.Get(), name, deadline, connected);
    Descriptor found;
    std::string unused;
    // Another folder may be at the path by now. It gets the same descriptor number, so that calls
    // on other threads use it too.
    if (error != 0 && OpenTrusted(path, false, found, unused) == 0 &&
        dup3(found.Get(), folder.Get(), O_CLOEXEC) >= 0) {
        error = ConnectIn(folder.Get(), name, deadline, connected);
    }
    return error;
}

bool platform::IsEndpointName(const std::string& name)
{
    std::size_t start = 0;
    std::size_t slash = 0;
    do {
        slash = name.find('/', start);
        if (!IsPart(std::string_view(name).substr(start, slash - start))) {
            return false;
        }
        start = slash + 1;
    } while (slash != std::string::npos);
    return true;
}

Descriptor platform::OpenParent(int folder, const std::string& name, std::string& lastPart)
{
    Descriptor parent(fcntl(folder, F_DUPFD_CLOEXEC, 0));
    std::size_t start = 0;
    std::size_t slash;
    while (parent && (slash = name.find('/', start)) != std::string::npos) {
        const std::string part = name.substr(start, slash - start);
        parent = Descriptor(
            openat(parent.Get(), part.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        start = slash + 1;
    }
    lastPart = name.substr(start);
    return parent;
}

bool platform::IsTrustedPeer(int fd)
{
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           (peer.uid == 0 || peer.uid == geteuid());
}
