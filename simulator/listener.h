#pragma once

#include "platform/src/descriptor.h"
#include "platform/src/messaging_directory.h"

#include <string>
#include <sys/types.h>

namespace sim {

/// The socket under which a service can be reached, and the lock that makes it the only one of its
/// name. Both files are removed at the end; after a crash the lock is free and the socket is stale,
/// and the next service takes it over.
class Listener {
public:
    Listener() = default;
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    /// Makes the endpoint \p name reachable. \return false with the reason in \p problem
    bool Open(const std::string& name, std::string& problem);

    /// The listening socket, which does not block.
    int Fd() const { return socketFd.Get(); }

private:
    bool OpenFolder(const std::string& name, std::string& problem);
    bool Lock(std::string& problem);
    bool TryLock(bool& again, std::string& problem);
    bool RemoveStaleSocket(std::string& problem) const;
    bool Bind(std::string& problem);

    platform::MessagingDirectory directory;
    platform::Descriptor folder;  ///< in which socket and lock file stand
    std::string fileName;         ///< of the socket
    std::string lockName;
    std::string path;  ///< of the socket, for messages
    platform::Descriptor lock;
    bool locked = false;
    platform::Descriptor socketFd;
    bool bound = false;
};

}  // namespace sim
