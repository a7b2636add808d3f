#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "recording/lines.h"

namespace tap {

/// Messages and bytes of each region since the last line.
class Rates {
public:
    void Add(unsigned int regionId, unsigned int encodedSize);

    /// Each appends one line, and begins to count again; the text has no time.
    void AppendText(std::string& text);
    void AppendJson(std::string& text, const recording::Moment& at);

private:
    struct Region {
        std::uint64_t messages = 0;
        std::uint64_t bytes = 0;
    };

    std::array<Region, 256> regions{};
};

}  // namespace tap
