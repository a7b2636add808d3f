#pragma once

#include "platform/src/descriptor.h"
#include "platform/src/messaging_directory.h"

#include <string>
#include <sys/stat.h>
#include <sys/un.h>

namespace sim {

/// The socket at which clients reach the service, and the lock that makes it the only service of
/// its name. Both files are removed at the end, unless another service has replaced them. After a
/// crash the lock is free and the socket refuses connections, so the next service replaces both.
class Listener {
public:
    ~Listener();

    /// Makes the endpoint \p name reachable. \return false with the reason in \p problem
    bool Open(const std::string& name, std::string& problem);

    /// The listening socket, which does not block.
    int Fd() const { return socketFd.Get(); }

private:
    bool OpenFolder(const std::string& name, std::string& problem);
    bool Lock(std::string& problem);
    bool RemoveStaleSocket(std::string& problem) const;
    bool Bind(std::string& problem);
    bool Refuse(std::string& problem, const std::string& reason) const;
    bool IsNamed(const struct stat& file, const std::string& name) const;

    platform::MessagingDirectory directory;
    platform::Descriptor folder;  ///< of socket and lock file
    std::string fileName;         ///< of the socket
    std::string lockName;
    std::string path;  ///< of the socket, for messages
    sockaddr_un address{};
    platform::Descriptor lock;  ///< held
    platform::Descriptor socketFd;
    struct stat bound {};  ///< the socket's file, once there is one
};

}  // namespace sim
