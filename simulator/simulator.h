#pragma once

/// The whole program. \return its exit status
int RunSimulator(int argc, char** argv);
