#pragma once

#include "simulator/journal/journal.h"
#include "simulator/journal/recorder.h"
#include "simulator/journal/request_history.h"

#include "recording/crc32.h"

namespace sim {

/// The places for the requests that the service handled.
struct Logs {
    explicit Logs(const std::string& nameOfService) : recorder(nameOfService) {}

    Journal journal;
    Recorder recorder;  ///< of publications too
    RequestHistory history;

    /// Adds \p request, which gets its time and its checksum if they are needed.
    void Add(recording::Request& request)
    {
        if (journal.IsOpen() || recorder.IsOn() || history.IsOn()) {
            request.at = recording::Now();
            request.data.crc32 = recording::Crc32(request.data);
            journal.Add(request);
            recorder.Add(request);
            history.Add(request);
        }
    }
};

}  // namespace sim
