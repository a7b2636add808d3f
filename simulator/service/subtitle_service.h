#pragma once

#include "simulator/clients/audience.h"

#include "platform/src/wire_format.h"
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <array>
#include <bitset>
#include <optional>
#include <vector>

namespace sim {

/// The effect of a request.
struct Outcome {
    platform::Result result = platform::Result::Accepted;

    /// Numbers of the records that are still to be published, see SubtitleService::Publish().
    unsigned int next = 0;
    unsigned int end = 0;

    bool IsPublished() const { return next >= end; }
};

/// What was published.
struct Traffic {
    std::uint64_t messages = 0;
    std::uint64_t bytes = 0;  ///< frame headers included, once for all subscribers

    void Count(const SharedFrame& frame)
    {
        ++messages;
        bytes += frame->size();
    }
};

/// The records that the service keeps, and its operations. Knows nothing of connections.
class SubtitleService {
public:
    static constexpr unsigned int regionCount = 14;
    static constexpr unsigned int sensorCount = 6;

    /// Each region has room for 258 records, numbered in the order of their publication: a bitmap
    /// for each stream format, its visibility and its palette.
    static constexpr unsigned int formatCount = 256;
    static constexpr unsigned int visibilityRecord = formatCount;
    static constexpr unsigned int paletteRecord = formatCount + 1;
    static constexpr unsigned int recordsOfARegion = formatCount + 2;
    static constexpr unsigned int recordCount = regionCount * recordsOfARegion;

    // Requests. They need no memory and publish nothing yet, because the reply is queued first.
    // Keep() moves the bytes out of a record.
    Outcome Keep(RegionDataItem& r);
    Outcome Keep(RegionVisItem& r);
    Outcome Keep(PaletteItem& r);
    Outcome Invert(unsigned int regionId);
    static Outcome Refresh();
    bool UpdateSensor(unsigned int sensor, bool on);
    void SetLogLevel(unsigned int level) { logLevel = level; }

    /// Keeps \p frame, a well-formed notification, if it belongs to a region from 1 to 14. Copies
    /// nothing.
    void Keep(unsigned int subscription, const SharedFrame& frame);

    /// Keeps what \p other keeps, and nothing else.
    void Become(SubtitleService&& other);

    /// Keeps and publishes \p frame, a well-formed notification or null.
    /// \return the number of subscribers
    std::size_t Publish(unsigned int subscription, const SharedFrame& frame, Audience& audience);

    /// Publishes the record of this number, as it is now, if it is kept and wanted.
    /// \return the number of the next record that may be kept
    unsigned int Publish(unsigned int record, Audience& audience, Budget& budget);

    /// The number of a record within its region.
    static unsigned int KindOf(unsigned int subscription, const SharedFrame& frame);

    bool IsKept(unsigned int record) const;

    /// The notification of a kept record, as it is now. \return null when there is no memory
    SharedFrame Find(unsigned int record) const;

    Traffic AllTraffic() const;
    const Traffic& TrafficOf(unsigned int regionId) const { return traffic.at(regionId); }

    unsigned int LogLevel() const { return logLevel; }
    bool SensorIsOn(unsigned int sensor) const { return sensors.at(sensor); }

private:
    /// A published frame stands in the place of what a client sent.
    struct Region {
        std::optional<RegionDataItem> bitmap;  ///< in the formats HD, SD and CIF
        std::optional<RegionVisItem> visibility;
        std::optional<PaletteItem> palette;
        std::array<SharedFrame, recordsOfARegion> published;
        std::bitset<formatCount> inverted;
        bool reducesCif = false;      ///< to four colours
        unsigned int formatsEnd = 0;  ///< no bitmap has this format or a larger one
    };

    template <typename Record>
    Outcome Take(std::optional<Record> Region::*place, Record& record, unsigned int kind,
                 unsigned int count);
    const Item* FindItem(unsigned int record) const;

    std::vector<Region> regions = std::vector<Region>(regionCount);  // too large for a stack
    std::array<Traffic, 256> traffic{};                              ///< by region
    std::array<bool, sensorCount> sensors{};
    unsigned int logLevel = 63;
};

}  // namespace sim
