#include "tap/subscriber.h"

#include "records/received_record.h"

#include <new>

namespace tap {

using recording::Notification;
using recording::NotificationKind;

namespace {

// Message numbers of the notifications.
constexpr unsigned int regionDataItemId = 0x3B19;
constexpr unsigned int regionVisItemId = 0x3B1C;
constexpr unsigned int paletteItemId = 0x3B1D;

}  // namespace

/// Palettes last: a bitmap is not shown with an older palette.
bool Subscriber::Subscribe(SubscribeClient& client, const Filter& filter)
{
    if (filter.IsWanted(NotificationKind::RegionData)) {
        for (unsigned int format = 0; format < formatWords.size(); ++format) {
            if (filter.formats[format] &&
                client.Subscribe(recording::SubscriptionOfFormat(format), regionDataItemId,
                                 regionData, Callback<&Subscriber::TakeRegionData>, this) != 0) {
                return false;
            }
        }
    }
    const bool isVisibilitySettled =
        !filter.IsWanted(NotificationKind::RegionVisibility) ||
        client.Subscribe(recording::visibilitySubscription, regionVisItemId, visibility,
                         Callback<&Subscriber::TakeVisibility>, this) == 0;
    return isVisibilitySettled &&
           (!filter.IsWanted(NotificationKind::Palette) ||
            client.Subscribe(recording::paletteSubscription, paletteItemId, palette,
                             Callback<&Subscriber::TakePalette>, this) == 0);
}

/// No exception passes through the SDK.
template <void (Subscriber::*takeRecord)(LinxIpc&)>
void Subscriber::Callback(LinxIpc* ipc, void* subscriber)
{
    Subscriber& self = *static_cast<Subscriber*>(subscriber);
    ++self.received;
    try {
        (self.*takeRecord)(*ipc);
    } catch (const std::bad_alloc&) {
        self.isOutOfMemory = true;
    }
}

void Subscriber::TakeRegionData(LinxIpc& from)
{
    DecodeReceived(from, regionData);
    Notification notification;
    notification.subscription = recording::SubscriptionOfFormat(regionData.subtitleFormat);
    notification.regionId = regionData.regionId;
    notification.subtitleFormat = regionData.subtitleFormat;
    notification.data = {regionData.data.data(), regionData.data.size()};
    take(notification, regionData.EncodedSize());
}

void Subscriber::TakeVisibility(LinxIpc& from)
{
    DecodeReceived(from, visibility);
    Notification notification;
    notification.kind = NotificationKind::RegionVisibility;
    notification.subscription = recording::visibilitySubscription;
    notification.regionId = visibility.regionId;
    notification.visible = visibility.visible;
    take(notification, visibility.EncodedSize());
}

void Subscriber::TakePalette(LinxIpc& from)
{
    DecodeReceived(from, palette);
    Notification notification;
    notification.kind = NotificationKind::Palette;
    notification.subscription = recording::paletteSubscription;
    notification.regionId = palette.regionId;
    notification.fill = palette.fill;
    notification.backgroundCode = palette.backgroundCode;
    notification.data = {palette.paletteData.data(), palette.paletteData.size()};
    take(notification, palette.EncodedSize());
}

}  // namespace tap
