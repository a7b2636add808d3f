#pragma once

#include "simulator/request.h"

#include "platform/src/descriptor.h"

#include <string>

namespace sim {

/// The file that lists the requests in order of arrival.
class Journal {
public:
    /// Opens \p path to append to it. \return false with the reason in \p problem
    bool Open(const std::string& path, std::string& problem);

    /// Adds a line; does nothing without an open journal. The first line that cannot be written is
    /// told on standard error, and the service goes on.
    void Add(const Request& request);

private:
    platform::Descriptor file;
    bool complained = false;
};

}  // namespace sim
