#pragma once

#include "recording/lines.h"

#include <map>
#include <vector>

namespace view {

/// What was published last for a region.
struct Region {
    std::vector<unsigned char> bitmap;
    unsigned int format = 0;
    std::vector<unsigned char> palette;
    bool visible = false;
};

/// By number.
using Regions = std::map<unsigned int, Region>;

void Apply(const recording::Notification& notification, Regions& regions);

}  // namespace view
