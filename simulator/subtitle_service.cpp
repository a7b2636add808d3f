#include "simulator/subtitle_service.h"

#include "platform/src/wire_format.h"

#include <utility>

namespace sim {

using namespace platform;

namespace {

/// The records of each region in the order of their publication. The bitmap has three of them, of
/// which each has its position here as its format.
enum Kind : unsigned int { hd, sd, cif, visibility, palette, kindCount };

constexpr struct {
    unsigned int subscription;
    unsigned int itemId;
} kinds[kindCount] = {
    {subscriptions::regionDataHd, messages::regionDataItem},
    {subscriptions::regionDataSd, messages::regionDataItem},
    {subscriptions::regionDataCif, messages::regionDataItem},
    {subscriptions::regionVisibility, messages::regionVisItem},
    {subscriptions::palette, messages::paletteItem},
};

/// Each publication costs this much even when it has no subscriber.
constexpr std::size_t costOfAsking = 1024;

constexpr Outcome refused{Result::Refused};

Outcome Accepted(bool accepted) { return accepted ? Outcome() : refused; }

bool IsRegion(unsigned int regionId)
{
    return regionId >= 1 && regionId <= SubtitleService::regionCount;
}

Outcome Publishing(unsigned int regionId, unsigned int kind, unsigned int count)
{
    const unsigned int first = (regionId - 1) * kindCount + kind;
    return {Result::Accepted, first, first + count};
}

template <typename Record>
const Item* ItemOf(const std::optional<Record>& record)
{
    return record ? &*record : nullptr;
}

/// A CIF stream knows four colours.
void MaskPixels(std::vector<unsigned char>& frame, std::size_t pixels)
{
    for (std::size_t at = frame.size() - pixels; at < frame.size(); ++at) {
        frame[at] &= 3;
    }
}

}  // namespace

Outcome SubtitleService::Subscribe(unsigned int number, unsigned int itemId,
                                   Subscriptions& held) const
{
    return Accepted(!faults.refuseSubscribe && held.Add(number, itemId));
}

Outcome SubtitleService::Unsubscribe(unsigned int number, Subscriptions& held)
{
    return Accepted(held.Remove(number));
}

template <typename Record>
Outcome SubtitleService::KeepAs(std::optional<Record> Region::*place, Record& record,
                                unsigned int kind, unsigned int count)
{
    const unsigned int regionId = record.regionId;
    if (!IsRegion(regionId)) {
        return refused;
    }
    regions[regionId - 1].*place = std::move(record);
    return Publishing(regionId, kind, count);
}

Outcome SubtitleService::Keep(RegionDataItem& record)
{
    return KeepAs(&Region::bitmap, record, hd, visibility - hd);
}

Outcome SubtitleService::Keep(RegionVisItem& record)
{
    return KeepAs(&Region::visibility, record, visibility, 1);
}

Outcome SubtitleService::Keep(PaletteItem& record)
{
    return KeepAs(&Region::palette, record, palette, 1);
}

Outcome SubtitleService::Invert(unsigned int regionId)
{
    if (!IsRegion(regionId)) {
        return refused;
    }
    Outcome outcome = Publishing(regionId, hd, visibility - hd);
    if (std::optional<RegionDataItem>& bitmap = regions[regionId - 1].bitmap) {
        for (unsigned char& pixel : bitmap->data) {
            pixel = static_cast<unsigned char>(255 - pixel);
        }
        outcome.bytesTouched = bitmap->data.size();
    }
    return outcome;
}

Outcome SubtitleService::Refresh() const
{
    return faults.refuseRefresh ? refused : Publishing(1, 0, regionCount * kindCount);
}

Outcome SubtitleService::UpdateSensor(unsigned int sensor, bool on)
{
    if (faults.refuseSensor || sensor >= sensorCount) {
        return refused;
    }
    sensors[sensor] = on;
    return {};
}

Outcome SubtitleService::SetLogLevel(unsigned int level)
{
    logLevel = level;
    return {};
}

void SubtitleService::Publish(unsigned int record, Audience& audience, Budget& budget)
{
    Region& region = regions[record / kindCount];
    const unsigned int kind = record % kindCount;
    const unsigned int subscription = kinds[kind].subscription;
    const Item* const item = kind == palette      ? ItemOf(region.palette)
                             : kind == visibility ? ItemOf(region.visibility)
                                                  : ItemOf(region.bitmap);
    budget.Spend(costOfAsking);
    if (!item || !audience.HasSubscriber(subscription)) {
        return;
    }
    if (kind < visibility) {
        region.bitmap->subtitleFormat = static_cast<unsigned char>(kind);
    }
    const NewFrame frame = EncodeNotification(subscription, kinds[kind].itemId, *item);
    if (frame && kind == cif) {
        MaskPixels(*frame, region.bitmap->data.size());
    }
    const std::uint64_t receivers = audience.Publish(subscription, frame);
    budget.Spend(item->EncodedSize() * (1 + receivers));
}

}  // namespace sim
