#include "simulator/subtitle_service.h"

#include <algorithm>
#include <utility>

using namespace platform;
using namespace sim;

namespace {

/// The records of each region in the order of their publication. A bitmap is published in three
/// formats, which have their numbers here.
enum Kind : unsigned int { hd, sd, cif, visibility, palette, kindCount };
constexpr unsigned int formatCount = 3;

constexpr unsigned int subscriptionOf[kindCount] = {
    subscriptions::regionDataHd,     subscriptions::regionDataSd, subscriptions::regionDataCif,
    subscriptions::regionVisibility, subscriptions::palette,
};

/// Each publication costs this much even when it has no subscriber.
constexpr std::size_t costOfAsking = 1024;

constexpr Outcome refused{Result::Refused};

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
const Item* Find(const std::optional<Record>& record)
{
    return record ? &*record : nullptr;
}

}  // namespace

template <typename Record>
Outcome SubtitleService::Take(std::optional<Record> Region::*place, Record& record,
                              unsigned int kind)
{
    const unsigned int regionId = record.regionId;
    if (!IsRegion(regionId)) {
        return refused;
    }
    regions[regionId - 1].*place = std::move(record);
    return Publishing(regionId, kind, kind == hd ? formatCount : 1);
}

Outcome SubtitleService::Keep(RegionDataItem& r) { return Take(&Region::bitmap, r, hd); }
Outcome SubtitleService::Keep(RegionVisItem& r) { return Take(&Region::visibility, r, visibility); }
Outcome SubtitleService::Keep(PaletteItem& r) { return Take(&Region::palette, r, palette); }

Outcome SubtitleService::Invert(unsigned int regionId)
{
    if (!IsRegion(regionId)) {
        return refused;
    }
    Outcome outcome = Publishing(regionId, hd, formatCount);
    if (std::optional<RegionDataItem>& bitmap = regions[regionId - 1].bitmap) {
        for (unsigned char& pixel : bitmap->data) {
            pixel = static_cast<unsigned char>(255 - pixel);
        }
        outcome.bytesTouched = bitmap->data.size();
    }
    return outcome;
}

Outcome SubtitleService::Refresh() { return Publishing(1, hd, regionCount * kindCount); }

bool SubtitleService::UpdateSensor(unsigned int sensor, bool on)
{
    if (sensor < sensorCount) {
        sensors[sensor] = on;
    }
    return sensor < sensorCount;
}

void SubtitleService::Publish(unsigned int record, Audience& audience, Budget& budget)
{
    Region& region = regions[record / kindCount];
    const unsigned int kind = record % kindCount;
    const Item* const item = kind == palette      ? Find(region.palette)
                             : kind == visibility ? Find(region.visibility)
                                                  : Find(region.bitmap);
    budget.Spend(costOfAsking);
    if (!item || !audience.HasSubscriber(subscriptionOf[kind])) {
        return;
    }
    if (kind < formatCount) {
        region.bitmap->subtitleFormat = static_cast<unsigned char>(kind);
    }
    const NewFrame frame = EncodeNotification(subscriptionOf[kind], *item);
    if (frame && kind == cif) {  // which has four colours only
        const auto size = static_cast<std::ptrdiff_t>(region.bitmap->data.size());
        std::for_each(frame->end() - size, frame->end(), [](unsigned char& pixel) { pixel &= 3; });
    }
    const std::uint64_t receivers = audience.Publish(subscriptionOf[kind], frame);
    budget.Spend(item->EncodedSize() * (1 + receivers));
}
