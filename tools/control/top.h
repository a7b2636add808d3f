#pragma once

#include "control/options.h"

namespace control {

/// Shows the state of the service once a second until SIGINT or SIGTERM.
/// \return the exit status of the program
int Top(const Options& options);

}  // namespace control
