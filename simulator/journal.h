#pragma once

#include "simulator/request.h"

#include "platform/src/descriptor.h"
#include "platform/src/sink.h"

#include <string>

namespace sim {

/// The file that lists the requests in order of arrival.
class Journal {
public:
    /// Opens \p path to append to it. \return false with the reason in \p problem
    bool Open(const std::string& path, std::string& problem);

    /// Adds a line; does nothing without an open journal. The first line that is lost is reported
    /// on standard error.
    void Add(const Request& request);

    /// Writes what had no room before. \return milliseconds until the next call, -1 for none
    int Settle();

private:
    platform::Descriptor file;
    platform::Sink sink;
    bool complained = false;
};

}  // namespace sim
