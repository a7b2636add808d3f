#pragma once

#include <string>

/// A region after one pass of the test pattern.
struct PatternPass {
    std::string bytes;  ///< all 30720
    std::string text;   ///< what the pass prints
};

/// \param before  the region's bytes before; empty for none
PatternPass PaintPattern(const std::string& before, unsigned start, unsigned increment,
                         unsigned width, unsigned height);

/// A table of blue, green, red and a fourth byte as Y, Cb, Cr and the same fourth byte.
std::string ConvertedPalette(const std::string& table);
