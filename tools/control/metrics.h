#pragma once

#include "control/json_value.h"

#include <string>

namespace control {

/// A state as metrics in the text format of Prometheus, version 0.0.4.
std::string Metrics(const Value& state, const std::string& service);

}  // namespace control
