#pragma once

#include "simulator/listening_socket.h"

#include "platform/src/descriptor.h"
#include "platform/src/messaging_directory.h"

#include <string>

namespace sim {

/// The sockets at which clients and control clients reach the service, and the lock that makes it
/// the only service of its name. All files are removed at the end, unless another service has
/// replaced them. After a crash the lock is free and the sockets refuse connections, so the next
/// service replaces them.
class Listener {
public:
    ~Listener();

    /// Makes the endpoint \p name reachable. \return false with the reason in \p problem
    bool Open(const std::string& name, std::string& problem);

    const std::string& Path() const { return path; }

    /// The socket of the clients, which does not block.
    int Fd() const { return clients.Fd(); }

    /// The socket of the control clients, `NAME.control`, which does not block.
    int ControlFd() const { return control.Fd(); }

    /// Clients are refused until Reopen(). The lock and the control socket stay.
    void CloseForClients() { clients.Close(); }
    bool Reopen(std::string& problem) { return OpenSocket(clients, "", problem); }

private:
    bool OpenFolder(const std::string& name, std::string& problem);
    bool Lock(std::string& problem);
    bool OpenSocket(ListeningSocket& socket, const char* ending, std::string& problem) const;
    bool Refuse(std::string& problem, const std::string& reason) const;

    platform::MessagingDirectory directory;
    platform::Descriptor folder;  ///< of the sockets and the lock file
    std::string fileName;         ///< of the clients' socket
    std::string lockName;
    std::string path;           ///< of the clients' socket, for messages
    platform::Descriptor lock;  ///< held
    ListeningSocket clients;
    ListeningSocket control;
};

}  // namespace sim
