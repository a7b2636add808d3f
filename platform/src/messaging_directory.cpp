#include "platform/src/messaging_directory.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace platform {

namespace {

bool EndsIn(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string ConfiguredPath()
{
    // A program with more rights than its caller must not trust these variables.
    const auto variable = [](const char* name) {
        const char* value = secure_getenv(name);
        return std::string(value ? value : "");
    };
    std::string path = variable("LINX_DIR");
    if (path.empty()) {
        path = variable("XDG_RUNTIME_DIR");
        path = path.empty() ? "/tmp/linx-" + std::to_string(geteuid()) : path + "/linx";
    }
    // With "/" or "/." at the end the last part would be followed even where it is a symlink.
    while (path.size() > 1 && (path.back() == '/' || EndsIn(path, "/."))) {
        path.pop_back();
    }
    return path;
}

bool IsPart(const std::string& part)
{
    const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
    return !part.empty() && part != "." && part != ".." && part.size() <= NAME_MAX &&
           std::none_of(part.begin(), part.end(), isControl);
}

/// Connecting is the one step that can wait: a service that is stopped and has a full backlog.
void LimitConnect(int fd, const Deadline& deadline)
{
    // Asked once: a limit of 0 would be none.
    const int left = deadline.RemainingMs();
    const int ms = deadline.IsLimited() ? std::max(left, 1) : 0;
    const timeval limit{ms / 1000, ms % 1000 * 1000};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

/// Connects by way of the opened folder, which cannot be swapped for another one after it was
/// checked. Opening the socket file itself instead would cost a fifth of connecting more.
int ConnectBelow(int folder, const std::string& name, int fd, const Deadline& deadline)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = "/proc/self/fd/" + std::to_string(folder) + "/" + name;
    if (path.size() >= sizeof address.sun_path) {
        return ENAMETOOLONG;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    LimitConnect(fd, deadline);
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

/// Connecting would follow a symbolic link. A user who may write to the folder could still put one
/// there after this look, but could put a socket there as well.
int CheckSocketFile(int folder, const std::string& name)
{
    struct stat found {};
    if (fstatat(folder, name.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno;
    }
    return S_ISSOCK(found.st_mode) ? 0 : ENOTSOCK;
}

/// The umask may have taken rights away from the folder that this call has just made at \p path.
/// Opened as a place alone, which needs no right to the folder, so that no other one is changed
/// when it is swapped meanwhile.
void GiveItsMode(const std::string& path)
{
    const Descriptor made(open(path.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat found {};
    if (made && fstat(made.Get(), &found) == 0 && found.st_uid == geteuid() &&
        (found.st_mode & 0077) == 0) {
        chmod(("/proc/self/fd/" + std::to_string(made.Get())).c_str(), 0700);
    }
}

/// Opens the folder at \p path when it may be trusted.
/// \return 0, else an errno value with the reason in \p problem
int OpenTrusted(const std::string& path, Descriptor& opened, std::string& problem)
{
    Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat found {};
    if (!folder || fstat(folder.Get(), &found) != 0) {
        const int error = errno;
        const bool isLink = lstat(path.c_str(), &found) == 0 && S_ISLNK(found.st_mode);
        problem = isLink ? "is a symbolic link"
                         : std::string("cannot be opened: ") + std::strerror(error);
        return error;
    }
    if (found.st_uid != geteuid() || (found.st_mode & 07777) != 0700) {
        problem =
            found.st_uid != geteuid() ? "belongs to another user" : "has another mode than 0700";
        return EPERM;
    }
    opened = std::move(folder);
    return 0;
}

int ConnectIn(int folder, const std::string& name, const Deadline& deadline, Descriptor& connected)
{
    std::string lastPart = name;
    Descriptor parent;
    if (name.find('/') != std::string::npos) {
        parent = OpenParent(folder, name, lastPart);
        if (!parent) {
            return errno;
        }
        folder = parent.Get();
    }
    if (const int error = CheckSocketFile(folder, lastPart)) {
        return error;
    }
    Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd) {
        return errno;
    }
    if (const int error = ConnectBelow(folder, lastPart, fd.Get(), deadline)) {
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
    int error = 0;
    if (path.front() != '/' || EndsIn(path, "/..")) {
        reason = path.front() != '/' ? "not an absolute path" : "ends in ..";
        error = EINVAL;
    } else if (mkdir(path.c_str(), 0700) == 0) {
        GiveItsMode(path);
    } else if (errno != EEXIST) {
        error = errno;
        reason = std::string("cannot be made: ") + std::strerror(error);
    }
    if (error == 0) {
        error = OpenTrusted(path, folder, reason);
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
    // Another folder may be at the path by now. It gets the descriptor of the one that was opened,
    // and so replaces it in calls on other threads too.
    if (error != 0 && OpenTrusted(path, found, unused) == 0 &&
        dup3(found.Get(), folder.Get(), O_CLOEXEC) >= 0) {
        error = ConnectIn(folder.Get(), name, deadline, connected);
    }
    return error;
}

bool IsEndpointName(const std::string& name)
{
    std::size_t start = 0;
    std::size_t slash;
    while ((slash = name.find('/', start)) != std::string::npos) {
        if (!IsPart(name.substr(start, slash - start))) {
            return false;
        }
        start = slash + 1;
    }
    return IsPart(name.substr(start));
}

Descriptor OpenParent(int folder, const std::string& name, std::string& lastPart)
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

bool IsTrustedPeer(int fd)
{
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           (peer.uid == 0 || peer.uid == geteuid());
}

}  // namespace platform
