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

/// An environment variable that a program with more rights than its caller must not trust.
std::string TrustedEnvironment(const char* name)
{
    const char* value = secure_getenv(name);
    return value ? value : "";
}

bool EndsIn(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string ConfiguredPath()
{
    std::string path = TrustedEnvironment("LINX_DIR");
    if (path.empty()) {
        path = TrustedEnvironment("XDG_RUNTIME_DIR");
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
    if (part.empty() || part == "." || part == ".." || part.size() > NAME_MAX) {
        return false;
    }
    for (const char c : part) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
            return false;
        }
    }
    return true;
}

/// Connecting is the one step that can wait: a service that is stopped and has a full backlog.
void LimitConnect(int fd, const Deadline& deadline)
{
    // Asked once: a limit of 0 would be none.
    const int left = deadline.RemainingMs();
    const int ms = deadline.IsLimited() ? std::max(left, 1) : 0;
    timeval limit{};
    limit.tv_sec = ms / 1000;
    limit.tv_usec = ms % 1000 * 1000;
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

/// Connecting would follow a symbolic link. Only who may write to the folder could put one there
/// after this look, and could have put a socket there as well.
int CheckSocketFile(int folder, const std::string& name)
{
    struct stat found {};
    if (fstatat(folder, name.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno;
    }
    return S_ISSOCK(found.st_mode) ? 0 : ENOTSOCK;
}

}  // namespace

int MessagingDirectory::Refuse(int error, const std::string& reason)
{
    problem = "messaging directory " + path + ": " + reason;
    folder = Descriptor();
    return error;
}

int MessagingDirectory::Open()
{
    path = ConfiguredPath();
    problem.clear();
    if (path.front() != '/') {
        return Refuse(EINVAL, "not an absolute path");
    }
    if (EndsIn(path, "/..")) {
        return Refuse(EINVAL, "ends in ..");
    }
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        return Refuse(errno, std::string("cannot be made: ") + std::strerror(errno));
    }
    folder = Descriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder) {
        const int error = errno;
        struct stat link {};
        const bool isLink = lstat(path.c_str(), &link) == 0 && S_ISLNK(link.st_mode);
        return Refuse(error, isLink ? "is a symbolic link"
                                    : std::string("cannot be opened: ") + std::strerror(error));
    }
    struct stat found {};
    if (fstat(folder.Get(), &found) != 0) {
        return Refuse(errno, std::strerror(errno));
    }
    if (found.st_uid != geteuid()) {
        return Refuse(EPERM, "belongs to another user");
    }
    if ((found.st_mode & 07777) != 0700) {
        return Refuse(EPERM, "has another mode than 0700");
    }
    return 0;
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
    std::string lastPart = name;
    Descriptor opened;
    if (name.find('/') != std::string::npos) {
        opened = OpenParent(folder.Get(), name, lastPart);
        if (!opened) {
            return errno;
        }
    }
    const int parent = opened ? opened.Get() : folder.Get();
    int error = CheckSocketFile(parent, lastPart);
    if (error != 0) {
        return error;
    }
    Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd) {
        return errno;
    }
    error = ConnectBelow(parent, lastPart, fd.Get(), deadline);
    if (error != 0) {
        return error;
    }
    if (!IsTrustedPeer(fd.Get())) {
        return EACCES;
    }
    connected = std::move(fd);
    return 0;
}

bool IsEndpointName(const std::string& name)
{
    std::size_t start = 0;
    for (;;) {
        const std::size_t slash = name.find('/', start);
        if (!IsPart(name.substr(start, slash - start))) {
            return false;
        }
        if (slash == std::string::npos) {
            return true;
        }
        start = slash + 1;
    }
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
