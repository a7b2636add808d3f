#pragma once

namespace sim {

/// The whole program. \return its exit status
int RunSimulator(int argc, char** argv);

}  // namespace sim
