#include "simulator/subtitle_service.h"

namespace sim {

using namespace platform;

namespace {

Result Accepted(bool accepted) { return accepted ? Result::Accepted : Result::Refused; }

void PublishRecord(Audience& audience, unsigned int subscription, unsigned int itemId,
                   const Item& record)
{
    // A bitmap is up to 16 MiB: not worth encoding for nobody.
    if (audience.HasSubscriber(subscription)) {
        audience.Publish(subscription, EncodeNotification(subscription, itemId, record));
    }
}

constexpr unsigned char formatHd = 0;
constexpr unsigned char formatSd = 1;
constexpr unsigned char formatCif = 2;

/// A CIF stream knows four colours.
constexpr unsigned char cifPixelBits = 3;

}  // namespace

Result SubtitleService::Serve(const Request& request, Subscriptions& subscriptions)
{
    switch (request.messageId) {
    case messages::subscribe:
        return Accepted(!faults.refuseSubscribe &&
                        subscriptions.Add(request.subscription, request.itemId));
    case messages::unsubscribe: return Accepted(subscriptions.Remove(request.subscription));
    case messages::setRegionData:
        if (!IsRegion(request.regionData.regionId)) {
            return Result::Refused;
        }
        RegionOf(request.regionData.regionId).bitmap = request.regionData;
        return Result::Accepted;
    case messages::setRegionVisibility:
        if (!IsRegion(request.visibility.regionId)) {
            return Result::Refused;
        }
        RegionOf(request.visibility.regionId).visibility = request.visibility;
        return Result::Accepted;
    case messages::setPaletteData:
        if (!IsRegion(request.palette.regionId)) {
            return Result::Refused;
        }
        RegionOf(request.palette.regionId).palette = request.palette;
        return Result::Accepted;
    case messages::invertRegionData:
        if (!IsRegion(request.regionId)) {
            return Result::Refused;
        }
        Invert(request.regionId);
        return Result::Accepted;
    case messages::refreshRegions: return Accepted(!faults.refuseRefresh);
    case messages::sendSensorUpdate:
        if (faults.refuseSensor || request.sensor >= sensorCount) {
            return Result::Refused;
        }
        sensors[request.sensor] = request.on;
        return Result::Accepted;
    case messages::setLogLevel: logLevel = request.level; return Result::Accepted;
    default: return Result::Accepted;
    }
}

void SubtitleService::PublishOutcome(const Request& request, Audience& audience) const
{
    switch (request.messageId) {
    case messages::setRegionData:
        PublishBitmap(RegionOf(request.regionData.regionId), audience);
        break;
    case messages::setRegionVisibility:
        PublishVisibility(RegionOf(request.visibility.regionId), audience);
        break;
    case messages::setPaletteData:
        PublishPalette(RegionOf(request.palette.regionId), audience);
        break;
    case messages::invertRegionData: PublishBitmap(RegionOf(request.regionId), audience); break;
    case messages::refreshRegions:
        for (const Region& region : regions) {
            PublishBitmap(region, audience);
            PublishVisibility(region, audience);
            PublishPalette(region, audience);
        }
        break;
    default: break;
    }
}

void SubtitleService::Invert(unsigned int regionId)
{
    std::optional<RegionDataItem>& bitmap = RegionOf(regionId).bitmap;
    if (bitmap) {
        for (unsigned char& pixel : bitmap->data) {
            pixel = static_cast<unsigned char>(255 - pixel);
        }
    }
}

void SubtitleService::PublishBitmap(const Region& region, Audience& audience)
{
    if (!region.bitmap) {
        return;
    }
    RegionDataItem record = *region.bitmap;
    for (const unsigned char format : {formatHd, formatSd}) {
        record.subtitleFormat = format;
        PublishRecord(audience, subscriptions::ForFormat(format), messages::regionDataItem, record);
    }
    record.subtitleFormat = formatCif;
    for (unsigned char& pixel : record.data) {
        pixel &= cifPixelBits;
    }
    PublishRecord(audience, subscriptions::ForFormat(formatCif), messages::regionDataItem, record);
}

void SubtitleService::PublishVisibility(const Region& region, Audience& audience)
{
    if (region.visibility) {
        PublishRecord(audience, subscriptions::regionVisibility, messages::regionVisItem,
                      *region.visibility);
    }
}

void SubtitleService::PublishPalette(const Region& region, Audience& audience)
{
    if (region.palette) {
        PublishRecord(audience, subscriptions::palette, messages::paletteItem, *region.palette);
    }
}

}  // namespace sim
