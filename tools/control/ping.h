#pragma once

#include "control/options.h"

#include <cstdint>
#include <optional>
#include <string>

namespace control {

/// Pings the service as its clients do, within the time limit.
/// \return the exit status of the program
int Ping(const Options& options);

/// Pings the service \p name within \p limitUs.
/// \param error  receives 0 or an errno value
/// \return microseconds of the round trip, connecting included; none without an endpoint
std::optional<std::int64_t> MeasurePing(const std::string& name, std::int64_t limitUs, int& error);

}  // namespace control
