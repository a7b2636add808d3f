#pragma once

#include "platform/src/deadline.h"
#include "platform/src/descriptor.h"

#include <string>

namespace platform {

/// The folder below which every endpoint name is a socket: `LINX_DIR`, else `XDG_RUNTIME_DIR/linx`,
/// else `/tmp/linx-<uid>`. Results are 0 or an errno value.
class MessagingDirectory {
public:
    /// Opens the folder and makes it when it is missing, with mode 0700 under every umask. It must
    /// be an absolute path to a folder, no symlink, that belongs to this user and has the mode
    /// 0700; anything else is refused and never repaired.
    int Open();

    /// Connects to the service \p name and makes sure that it runs under this user or root. The
    /// name is resolved part by part, without symlinks, below the folder that Open() found. When
    /// that fails, it is resolved below the folder that is at the path now, after the same checks.
    int Connect(const std::string& name, const Deadline& deadline, Descriptor& connected) const;

    /// -1 before Open() succeeded.
    int Fd() const { return folder.Get(); }
    const std::string& Path() const { return path; }

    /// Why Open() failed, as a sentence with the path; empty after a success.
    const std::string& Problem() const { return problem; }

private:
    std::string path;
    std::string problem;
    Descriptor folder;
};

/// Whether \p name is one or more parts with '/' between them, none of them empty, `.`, `..` or
/// longer than a file name (255 bytes), and without control bytes.
bool IsEndpointName(const std::string& name);

/// Opens the folder that holds the last part of \p name, below \p folder.
/// \return the folder, or none with errno set; \p lastPart becomes the rest of the name
Descriptor OpenParent(int folder, const std::string& name, std::string& lastPart);

/// Whether the process at the other end of the connected socket \p fd has our user id, or is root.
bool IsTrustedPeer(int fd);

}  // namespace platform
