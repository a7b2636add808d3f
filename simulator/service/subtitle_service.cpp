#include "simulator/service/subtitle_service.h"

#include <algorithm>
#include <new>
#include <utility>

using namespace platform;
using namespace sim;

namespace {

constexpr unsigned int cif = 2;
constexpr unsigned int formatsOfAClient = 3;  ///< HD, SD and CIF

/// Each publication costs this much even when it has no subscriber.
constexpr std::size_t costOfAsking = 1024;

/// Where a record has its format, and a bitmap its first byte.
constexpr std::size_t formatOffset = frameHeaderSize + 1;
constexpr std::size_t bitmapOffset = frameHeaderSize + 6;

constexpr Outcome refused{Result::Refused};

bool IsRegion(unsigned int regionId)
{
    return regionId >= 1 && regionId <= SubtitleService::regionCount;
}

unsigned int RegionOf(const SharedFrame& frame) { return (*frame)[frameHeaderSize]; }

unsigned int SubscriptionOf(unsigned int kind)
{
    return kind == SubtitleService::visibilityRecord ? subscriptions::regionVisibility
           : kind == SubtitleService::paletteRecord
               ? subscriptions::palette
               : subscriptions::ForFormat(static_cast<unsigned char>(kind));
}

Outcome Publishing(unsigned int regionId, unsigned int kind, unsigned int count)
{
    const unsigned int first = (regionId - 1) * SubtitleService::recordsOfARegion + kind;
    return {Result::Accepted, first, first + count};
}

template <typename Record>
const Item* Pointer(const std::optional<Record>& record)
{
    return record ? &*record : nullptr;
}

NewFrame Copy(const std::vector<unsigned char>& frame)
{
    try {
        return std::make_shared<std::vector<unsigned char>>(frame);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

// A request

template <typename Record>
Outcome SubtitleService::Take(std::optional<Record> Region::*place, Record& record,
                              unsigned int kind, unsigned int count)
{
    const unsigned int regionId = record.regionId;
    if (!IsRegion(regionId)) {
        return refused;
    }
    Region& region = regions[regionId - 1];
    region.*place = std::move(record);
    std::fill_n(region.published.begin() + kind, count, nullptr);
    return Publishing(regionId, kind, count);
}

Outcome SubtitleService::Keep(RegionDataItem& r)
{
    const Outcome outcome = Take(&Region::bitmap, r, 0, formatsOfAClient);
    if (!outcome.IsPublished()) {
        Region& region = regions[outcome.next / recordsOfARegion];
        for (unsigned int format = 0; format < formatsOfAClient; ++format) {
            region.inverted.reset(format);
        }
        region.reducesCif = true;
        region.formatsEnd = std::max(region.formatsEnd, formatsOfAClient);
    }
    return outcome;
}

Outcome SubtitleService::Keep(RegionVisItem& r)
{
    return Take(&Region::visibility, r, visibilityRecord, 1);
}

Outcome SubtitleService::Keep(PaletteItem& r)
{
    return Take(&Region::palette, r, paletteRecord, 1);
}

/// The bytes are complemented where they are published: what is kept is shared, and may be large.
Outcome SubtitleService::Invert(unsigned int regionId)
{
    if (!IsRegion(regionId)) {
        return refused;
    }
    regions[regionId - 1].inverted.flip();
    regions[regionId - 1].reducesCif = true;
    return Publishing(regionId, 0, formatCount);
}

Outcome SubtitleService::Refresh() { return Publishing(1, 0, recordCount); }

bool SubtitleService::UpdateSensor(unsigned int sensor, bool on)
{
    if (sensor < sensorCount) {
        sensors[sensor] = on;
    }
    return sensor < sensorCount;
}

// A publication

void SubtitleService::Keep(unsigned int subscription, const SharedFrame& frame)
{
    const unsigned int regionId = RegionOf(frame);
    if (!IsRegion(regionId)) {
        return;
    }
    Region& region = regions[regionId - 1];
    const unsigned int kind = KindOf(subscription, frame);
    region.published[kind] = frame;
    if (kind < formatCount) {
        region.inverted.reset(kind);
        region.reducesCif = region.reducesCif && kind != cif;
        region.formatsEnd = std::max(region.formatsEnd, kind + 1);
    }
}

void SubtitleService::Become(SubtitleService&& other)
{
    regions = std::move(other.regions);
    sensors = other.sensors;
    logLevel = other.logLevel;
}

std::size_t SubtitleService::Publish(unsigned int subscription, const SharedFrame& frame,
                                     Audience& audience)
{
    if (frame) {
        Keep(subscription, frame);
        traffic[RegionOf(frame)].Count(frame);
    }
    return audience.Publish(subscription, frame);
}

unsigned int SubtitleService::Publish(unsigned int record, Audience& audience, Budget& budget)
{
    const unsigned int kind = record % recordsOfARegion;
    const unsigned int subscription = SubscriptionOf(kind);
    budget.Spend(costOfAsking);
    if (IsKept(record) && audience.Wants(subscription)) {
        const SharedFrame frame = Find(record);
        if (frame) {
            traffic[RegionOf(frame)].Count(frame);
        }
        const std::uint64_t receivers = audience.Publish(subscription, frame);
        budget.Spend(frame ? frame->size() * (1 + receivers) : 0);
    }
    const bool wasLastFormat = kind + 1 >= regions[record / recordsOfARegion].formatsEnd;
    return kind < visibilityRecord && wasLastFormat ? record - kind + visibilityRecord : record + 1;
}

Traffic SubtitleService::AllTraffic() const
{
    Traffic all;
    for (const Traffic& one : traffic) {
        all.messages += one.messages;
        all.bytes += one.bytes;
    }
    return all;
}

// What is kept

unsigned int SubtitleService::KindOf(unsigned int subscription, const SharedFrame& frame)
{
    return subscription == subscriptions::regionVisibility ? visibilityRecord
           : subscription == subscriptions::palette        ? paletteRecord
                                                           : (*frame)[formatOffset];
}

const Item* SubtitleService::FindItem(unsigned int record) const
{
    const Region& region = regions[record / recordsOfARegion];
    const unsigned int kind = record % recordsOfARegion;
    return kind == paletteRecord      ? Pointer(region.palette)
           : kind == visibilityRecord ? Pointer(region.visibility)
           : kind < formatsOfAClient  ? Pointer(region.bitmap)
                                      : nullptr;
}

bool SubtitleService::IsKept(unsigned int record) const
{
    return regions[record / recordsOfARegion].published[record % recordsOfARegion] ||
           FindItem(record);
}

SharedFrame SubtitleService::Find(unsigned int record) const
{
    const Region& region = regions[record / recordsOfARegion];
    const unsigned int kind = record % recordsOfARegion;
    const bool isInverted = kind < formatCount && region.inverted[kind];
    const bool isReduced = kind == cif && region.reducesCif;
    const SharedFrame& kept = region.published[kind];
    if (kept && !isInverted && !isReduced) {
        return kept;
    }
    const NewFrame frame =
        kept ? Copy(*kept) : EncodeNotification(SubscriptionOf(kind), *FindItem(record));
    if (frame && kind < formatCount) {
        (*frame)[formatOffset] = static_cast<unsigned char>(kind);
    }
    if (frame && (isInverted || isReduced)) {
        const auto invert = static_cast<unsigned char>(isInverted ? 255 : 0);
        const auto mask = static_cast<unsigned char>(isReduced ? 3 : 255);
        std::for_each(frame->begin() + bitmapOffset, frame->end(), [=](unsigned char& pixel) {
            pixel = static_cast<unsigned char>((pixel ^ invert) & mask);
        });
    }
    return frame;
}
