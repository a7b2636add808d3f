#pragma once

#include "simulator/notification.h"

#include <string>
#include <vector>

namespace sim {

/// One line of a scenario, ready to be played.
struct Directive {
    enum class Kind { Publish, Sleep, WaitSubscribers };

    Kind kind = Kind::Sleep;
    unsigned int number = 0;  ///< subscription to publish under or to wait for, or milliseconds
    SharedFrame frame;        ///< of Publish
};

using Scenario = std::vector<Directive>;

/// Reads a scenario; docs/simulator.md describes the language.
///
/// \param text   contents of the file
/// \param path   name of the file: for messages, and for the folder of the files after @
/// \return false with `FILE:LINE: reason` in \p problem
bool ParseScenario(const std::string& text, const std::string& path, Scenario& scenario,
                   std::string& problem);

/// Reads the file \p path. \return false with the reason in \p problem
bool LoadScenario(const std::string& path, Scenario& scenario, std::string& problem);

}  // namespace sim
