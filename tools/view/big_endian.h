#pragma once

#include <cstdint>
#include <string>

namespace view {

/// The low bytes of a number, the most significant one first.
template <int width>
std::string BigEndian(std::uint64_t number)
{
    std::string bytes;
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) {
        bytes += static_cast<char>(number >> shift & 0xFF);
    }
    return bytes;
}

}  // namespace view
