#pragma once

#include "recording/lines.h"

#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// What a request must be like: its kind, and the values of some of its fields.
class RequestPattern {
public:
    /// Matches every Ping.
    RequestPattern() = default;

    /// Matches the requests with the contents of \p recorded, of any client and with any result.
    explicit RequestPattern(const recording::Request& recorded);

    /// Reads words with the names and values of a journal line.
    ///
    ///     request=SetPaletteData regionId=3 fill=true crc32=2619ef23
    ///     refused: nothing, "Ping", "request=Pong", "request=Ping regionId=3"
    ///
    /// \return false with the reason in \p problem
    bool Parse(const std::vector<std::string>& words, std::string& problem);

    /// A request that it matches; only the wanted fields have a meaning.
    const recording::Request& Wanted() const { return wanted; }

    bool Matches(const recording::Request& request) const;

private:
    // Both return the reason why it is wrong; empty when it is not.
    std::string ReadKind(std::string_view name);
    std::string ReadField(std::string_view name, std::string_view value);

    recording::Request wanted;
    unsigned int fields = 0;  ///< of `recording::has`, those with a wanted value; never the data
    bool wantsSize = false;   ///< a wanted checksum is in wanted.data
    bool wantsResult = false;
};

}  // namespace sim
