#pragma once

#include "platform/src/descriptor.h"

#include <string>
#include <sys/stat.h>

namespace sim {

/// Whether \p name in \p folder still names \p file. Keep the file open, so that no other file gets
/// its number.
bool IsNamed(int folder, const std::string& name, const struct stat& file);

/// A socket file at which clients connect. The file is removed at the end, unless another one has
/// taken its place.
class ListeningSocket {
public:
    ListeningSocket() = default;
    ListeningSocket(const ListeningSocket&) = delete;
    ListeningSocket& operator=(const ListeningSocket&) = delete;
    ~ListeningSocket() { Close(); }

    /// Makes the socket, and removes one that does not answer any more.
    ///
    /// \param folder  stays open as long as the socket
    /// \return false with the reason in \p problem, which follows the path
    bool Open(int folder, const std::string& name, std::string& problem);

    /// From now on clients are refused.
    void Close();

    /// Non-blocking; -1 when it is closed.
    int Fd() const { return socketFd.Get(); }

private:
    int folder = -1;
    std::string name;
    platform::Descriptor socketFd;
    struct stat bound {};  ///< the socket's file, once there is one
};

}  // namespace sim
