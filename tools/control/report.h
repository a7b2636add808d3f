#pragma once

#include "control/json_value.h"

#include <cstddef>
#include <string>

namespace control {

/// An answer as text: a line for each field.
std::string FieldLines(const Value& answer);

/// Microseconds as seconds: "1.500 s".
std::string Seconds(std::uint64_t us);

/// The reason in a refusal.
std::string ErrorOf(const Value& answer);

/// The answer of the command state: how the service is, its regions and its clients.
std::string StateReport(const Value& state);

/// The lines of a state other than its counters and tables.
std::string StateLines(const Value& state);

/// The tables of regions and clients alone, of at most \p most rows each.
std::string RegionTable(const Value& state, std::size_t most);
std::string ClientTable(const Value& state, std::size_t most);

}  // namespace control
