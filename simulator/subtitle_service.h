#pragma once

#include "simulator/audience.h"
#include "simulator/budget.h"
#include "simulator/faults.h"
#include "simulator/outcome.h"
#include "simulator/subscriptions.h"

#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <array>
#include <optional>

namespace sim {

/// What the service keeps, and what it does with a request. Knows nothing of connections.
class SubtitleService {
public:
    static constexpr unsigned int regionCount = 14;
    static constexpr unsigned int sensorCount = 6;

    explicit SubtitleService(const Faults& faultsToMake) : faults(faultsToMake) {}

    // Requests. They need no memory, and publish nothing yet: the reply is queued first.
    Outcome Subscribe(unsigned int number, unsigned int itemId, Subscriptions& held) const;
    static Outcome Unsubscribe(unsigned int number, Subscriptions& held);
    // Keep() takes the bytes out of a record.
    Outcome Keep(RegionDataItem& record);
    Outcome Keep(RegionVisItem& record);
    Outcome Keep(PaletteItem& record);
    Outcome Invert(unsigned int regionId);
    Outcome Refresh() const;
    Outcome UpdateSensor(unsigned int sensor, bool on);
    Outcome SetLogLevel(unsigned int level);

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
    Outcome KeepAs(std::optional<Record> Region::*place, Record& record, unsigned int kind,
                   unsigned int count);

    const Faults& faults;
    std::array<Region, regionCount> regions;
    std::array<bool, sensorCount> sensors{};
    unsigned int logLevel = 63;
};

}  // namespace sim
