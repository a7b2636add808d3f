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

    /// Adds a line; does nothing without an open journal. That a line is lost is told on standard
    /// error once, and the service goes on.
    void Add(const Request& request);

    /// Tries again what had no room. \return milliseconds until the next call, -1 for none
    int Settle();

private:
    platform::Descriptor file;
    platform::Sink sink;
    bool complained = false;
};

}  // namespace sim
