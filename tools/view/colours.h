#pragma once

#include <cstdint>

/// Colours of pictures, and the entries of palettes that they come from.
namespace view {

struct Colour {
    unsigned char red = 0;
    unsigned char green = 0;
    unsigned char blue = 0;
    unsigned char alpha = 255;
};

/// Only equal colours have the same number.
constexpr std::uint32_t NumberOf(const Colour& colour)
{
    return std::uint32_t{colour.red} << 24 | std::uint32_t{colour.green} << 16 |
           std::uint32_t{colour.blue} << 8 | colour.alpha;
}

constexpr bool operator==(const Colour& a, const Colour& b) { return NumberOf(a) == NumberOf(b); }

constexpr Colour transparent{0, 0, 0, 0};

/// Magenta: of bytes without a palette entry.
constexpr Colour marked{255, 0, 255, 255};

/// An entry of a palette without its fourth byte, which has no meaning here.
struct Entry {
    unsigned char y = 0;
    unsigned char cb = 0;
    unsigned char cr = 0;
};

constexpr bool operator==(const Entry& a, const Entry& b)
{
    return a.y == b.y && a.cb == b.cb && a.cr == b.cr;
}

/// ITU-R BT.601, studio range; an entry with Y = 0 is transparent.
Colour ColourOf(const Entry& entry);

/// The entry whose colour is nearest to an opaque colour, at most 2 of 255 away.
Entry NearestEntry(const Colour& colour);

/// The entry that key 5 of the client's console makes of an RGB table's colour.
Entry ConsoleEntry(const Colour& colour);

/// The colour that key 5 converts to this entry or, for the few that it never makes, to an
/// entry near it.
Colour ConsoleColour(const Entry& entry);

}  // namespace view
