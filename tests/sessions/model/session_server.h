#pragma once

#include <string>
#include <vector>

/// One session that a test asks for.
struct SessionOrder {
    std::vector<std::string> arguments;    ///< of the client, its name included
    std::vector<std::string> environment;  ///< "NAME=value"
    std::string script;                    ///< what the platform of the session does
    int journal = -1;                      ///< the descriptor for the platform's requests
    int log = -1;                          ///< the descriptor for log entries
};

/// Serves sessions one after the other: reads an order from descriptor 3, has a child run it with
/// its standard input, output and errors in memory, and writes what came of it to descriptor 4.
/// Both are a number of parts and each part's length in 4 bytes, the most significant first:
///
///   order:   folder, output limit, seconds, script, keys, environment (NUL between), arguments...
///   result:  wait status, output, errors, journal, log
///
/// The output limit is enforced by the kernel, which ends the child with SIGXFSZ.
///
/// \return in each child, with its order; the serving process ends when there is no further order
SessionOrder ServeSessions();
