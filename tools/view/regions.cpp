#include "view/regions.h"

namespace view {

void Apply(const recording::Notification& notification, Regions& regions)
{
    Region& region = regions[notification.regionId];
    const recording::Data& data = notification.data;
    switch (notification.kind) {
    case recording::NotificationKind::RegionData:
        region.bitmap.assign(data.bytes, data.bytes + data.size);
        region.format = notification.subtitleFormat;
        break;
    case recording::NotificationKind::RegionVisibility:
        region.visible = notification.visible;
        break;
    case recording::NotificationKind::Palette:
        region.palette.assign(data.bytes, data.bytes + data.size);
        break;
    }
}

}  // namespace view
