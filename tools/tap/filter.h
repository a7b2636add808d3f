#pragma once

#include "recording/lines.h"
#include "words/number_list.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tap {

/// By recording::NotificationKind.
constexpr std::array<std::string_view, 3> kindWords = {"data", "visibility", "palette"};

/// By stream format; the last is every other format.
constexpr std::array<std::string_view, 4> formatWords = {"hd", "sd", "cif", "other"};
constexpr std::size_t otherFormats = formatWords.size() - 1;

constexpr std::size_t FormatIndex(unsigned int subtitleFormat)
{
    return std::min<std::size_t>(subtitleFormat, otherFormats);
}

/// Which notifications are wanted: all, unless something was left out.
struct Filter {
    Filter()
    {
        regions.set();
        kinds.fill(true);
        formats.fill(true);
    }

    bool Passes(const recording::Notification& notification) const
    {
        return regions[notification.regionId] && IsWanted(notification.kind) &&
               (notification.kind != recording::NotificationKind::RegionData ||
                formats[FormatIndex(notification.subtitleFormat)]);
    }

    bool IsWanted(recording::NotificationKind kind) const
    {
        return kinds[static_cast<std::size_t>(kind)];
    }

    words::NumberSet regions;
    std::array<bool, kindWords.size()> kinds;
    std::array<bool, formatWords.size()> formats;
};

}  // namespace tap
