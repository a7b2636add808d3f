#pragma once

/// The stream formats as RegionDataItem::subtitleFormat numbers them.
namespace subtitle_formats {
constexpr unsigned char hd = 0;
constexpr unsigned char sd = 1;
constexpr unsigned char cif = 2;

/// Kept on purpose: four formats have counters, but only three are shown. So format 3 is accepted
/// without a message, and 4 is the first one out of range.
constexpr unsigned int counted = 4;
}  // namespace subtitle_formats
