#pragma once

#include <string>
#include <sys/stat.h>
#include <sys/types.h>

namespace control {

/// A running process; none has the number 0.
struct Process {
    explicit operator bool() const { return id != 0; }

    /// `process 4711 (SubtitleMgrSim)`, or `a process` if its number is not known.
    std::string Text() const;

    pid_t id = 0;
    std::string name;  ///< of its program, at most 15 characters
    bool isStopped = false;
};

/// \return what /proc has about the process \p id
Process ProcessOf(pid_t id);

/// \return the process that holds a lock of flock(2) on \p file
///
/// Does not try to lock: a service that starts at that moment would be refused.
Process HolderOf(const struct stat& file);

}  // namespace control
