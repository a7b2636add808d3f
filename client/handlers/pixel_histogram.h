#pragma once

#include <array>
#include <cstddef>

/// How often each of the values 0 to 3 occurs.
using PixelCounts = std::array<unsigned int, 4>;

/// Counts the values 0 to 3 among \p size bytes. Every other byte is passed to \p unexpected, in
/// the order of the bytes, and not counted.
PixelCounts CountPixels(const unsigned char* pixels, std::size_t size,
                        void (*unexpected)(unsigned char value));
