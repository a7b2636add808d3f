#pragma once

#include "control/options.h"

namespace control {

/// Pings the service as its clients do, within the time limit.
/// \return the exit status of the program
int Ping(const Options& options);

}  // namespace control
