#pragma once

#include "view/colours.h"
#include "view/regions.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace view {

struct Picture {
    std::size_t Height() const { return pixels.size() / width; }

    unsigned int width = 1;
    std::vector<Colour> colours;
    std::vector<std::uint32_t> pixels;  ///< whole rows of indices of `colours`
};

/// The bitmap of a region in rows of \p width pixels; the end of a short last row is transparent.
/// As long as 256 colours are enough, the indices are the bytes of the bitmap.
Picture PictureOf(const Region& region, unsigned int width);

/// Pictures of the same width, one below the other.
Picture Stack(const std::vector<Picture>& pictures);

/// Whether the palette has an entry; without one the picture is in grey steps.
inline bool HasPalette(const Region& region) { return region.palette.size() >= 4; }

}  // namespace view
