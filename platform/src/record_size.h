#pragma once

#include <cstddef>
#include <limits>

/// The encoded size of a record with \p bytes behind a prefix. One that does not fit 32 bits says the
/// largest size, which no message has: a wrapped sum would look small enough to be encoded.
constexpr unsigned int RecordSize(unsigned int prefix, std::size_t bytes)
{
    constexpr unsigned int largest = std::numeric_limits<unsigned int>::max();
    return bytes > largest - prefix ? largest : prefix + static_cast<unsigned int>(bytes);
}
