#pragma once

#include "tests/editing/random/ConsoleModel.h"

#include <string>

/// A session made up by chance, the same for the same seed.
struct SessionScript {
    std::string keys;  ///< all that is typed; the input ends behind it
    ServiceKind service;
};

SessionScript MakeScript(unsigned seed);

/// Makes the files that sessions load, in \p folder. \return the files by their names; sessions run
/// in that folder, since a slip may make the console take a file's name for keys
ModelFiles PrepareFiles(const std::string& folder);
