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

/// An earlier state of the service, for rates.
struct Before {
    Value state;  ///< Null: there is none
    double seconds = 0;
};

/// The answer of the command state: how the service is, its regions and its clients.
std::string StateReport(const Value& state);

// The parts of a state. Tables have at most \p most rows.
std::string CounterLine(const Value& state, const Before& before);
std::string OtherLines(const Value& state);
std::string RegionTable(const Value& state, const Before& before, std::size_t most);
std::string ClientTable(const Value& state, std::size_t most);

}  // namespace control
