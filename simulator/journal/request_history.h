#pragma once

#include "recording/lines.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace sim {

class RequestPattern;

/// The last requests that the service handled, for users that await one. Costs nothing without a
/// user.
class RequestHistory {
public:
    static constexpr std::size_t most = 4096;

    /// Each user calls Start(), which may throw std::bad_alloc, and later Stop().
    void Start();
    void Stop();
    bool IsOn() const { return users > 0; }

    /// Keeps \p request without its bytes. Does nothing without a user.
    void Add(const recording::Request& request);

    /// The number of the next request; numbers rise by one.
    std::uint64_t Next() const { return next; }

    /// \return the number of the first request from \p from on that matches, if it is still kept
    std::optional<std::uint64_t> Find(const RequestPattern& pattern, std::uint64_t from) const;

private:
    std::vector<recording::Request> kept;  ///< request N is at N % most
    std::uint64_t first = 0;               ///< that was added since Start()
    std::uint64_t next = 0;
    unsigned int users = 0;
};

}  // namespace sim
