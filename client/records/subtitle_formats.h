#pragma once

/// The stream formats as RegionDataItem::subtitleFormat numbers them.
namespace subtitle_formats {
constexpr unsigned char hd = 0;
constexpr unsigned char sd = 1;
constexpr unsigned char cif = 2;

/// Kept on purpose: formats are counted in four places although only three are shown. Format 3 is
/// thereby accepted without a word, and 4 is the first one out of range.
constexpr unsigned int counted = 4;
}  // namespace subtitle_formats
