#pragma once

#include "simulator/play/step.h"

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

/// A scenario, ready to be played: without its repeats, includes and sleeps.
struct Scenario {
    std::vector<Step> steps;    ///< in the order of their times
    std::int64_t lengthUs = 0;  ///< all sleeps together
};

/// Reads a scenario; docs/simulator.md describes the language.
///
/// \param text      contents of the file
/// \param path      name of the file: for messages, and for the folder of the files that it names
/// \param mistakes  each with `FILE:LINE:COLUMN: ` at its beginning, without end of line; after
///                  the first 20 one more line says so
/// \return whether there are no mistakes
bool ParseScenario(const std::string& text, const std::string& path, Scenario& scenario,
                   std::vector<std::string>& mistakes);

/// Reads the file \p path. \return whether there are no mistakes
bool LoadScenario(const std::string& path, Scenario& scenario, std::vector<std::string>& mistakes);

}  // namespace sim
