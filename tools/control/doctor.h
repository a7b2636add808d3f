#pragma once

#include "control/finding.h"
#include "control/options.h"

#include <vector>

namespace platform {
class MessagingDirectory;
}

namespace control {

/// Shows what is wrong with the messaging directory, the service and the log, and how to repair it.
/// \return the exit status of the program
int Doctor(const Options& options);

/// Opens \p directory as client and service do.
Finding ExamineDirectory(platform::MessagingDirectory& directory);

/// Looks at the socket, the lock and the control socket of the service, and pings it.
std::vector<Finding> ExamineService(const platform::MessagingDirectory& directory,
                                    const Options& options);

/// Makes a log entry as the client does.
Finding ExamineLog();

}  // namespace control
