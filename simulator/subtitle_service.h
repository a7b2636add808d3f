#pragma once

#include "simulator/audience.h"

#include "platform/src/wire_format.h"
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <array>
#include <optional>

namespace sim {

/// The effect of a request.
struct Outcome {
    platform::Result result = platform::Result::Accepted;

    /// Numbers of the records that are still to be published, see SubtitleService::Publish().
    unsigned int next = 0;
    unsigned int end = 0;

    std::size_t bytesTouched = 0;  ///< of what the service keeps

    bool IsPublished() const { return next == end; }
};

/// The records that the service keeps, and its operations. Knows nothing of connections.
class SubtitleService {
public:
    static constexpr unsigned int regionCount = 14;
    static constexpr unsigned int sensorCount = 6;

    // Requests. They need no memory and publish nothing yet, because the reply is queued first.
    // Keep() moves the bytes out of a record.
    Outcome Keep(RegionDataItem& r);
    Outcome Keep(RegionVisItem& r);
    Outcome Keep(PaletteItem& r);
    Outcome Invert(unsigned int regionId);
    static Outcome Refresh();
    bool UpdateSensor(unsigned int sensor, bool on);
    void SetLogLevel(unsigned int level) { logLevel = level; }

    /// Publishes the record of this number, as it is now, when it is there and has a subscriber.
    void Publish(unsigned int record, Audience& audience, Budget& budget);

    unsigned int LogLevel() const { return logLevel; }
    bool SensorIsOn(unsigned int sensor) const { return sensors.at(sensor); }

private:
    struct Region {
        std::optional<RegionDataItem> bitmap;
        std::optional<RegionVisItem> visibility;
        std::optional<PaletteItem> palette;
    };

    template <typename Record>
    Outcome Take(std::optional<Record> Region::*place, Record& record, unsigned int kind);

    std::array<Region, regionCount> regions;
    std::array<bool, sensorCount> sensors{};
    unsigned int logLevel = 63;
};

}  // namespace sim
