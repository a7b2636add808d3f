#pragma once

#include "simulator/audience.h"
#include "simulator/faults.h"
#include "simulator/request.h"
#include "simulator/subscriptions.h"

#include "platform/src/wire_format.h"
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

    /// Carries out \p request of a peer that holds \p subscriptions; publishes nothing yet, so that
    /// its reply can be queued first.
    platform::Result Serve(const Request& request, Subscriptions& subscriptions);

    /// Publishes what \p request, just accepted, brings about.
    void PublishOutcome(const Request& request, Audience& audience) const;

    unsigned int LogLevel() const { return logLevel; }
    bool SensorIsOn(unsigned int sensor) const { return sensors.at(sensor); }

private:
    struct Region {
        std::optional<RegionDataItem> bitmap;
        std::optional<RegionVisItem> visibility;
        std::optional<PaletteItem> palette;
    };

    static bool IsRegion(unsigned int regionId) { return regionId >= 1 && regionId <= regionCount; }
    Region& RegionOf(unsigned int regionId) { return regions[regionId - 1]; }
    const Region& RegionOf(unsigned int regionId) const { return regions[regionId - 1]; }
    void Invert(unsigned int regionId);
    static void PublishBitmap(const Region& region, Audience& audience);
    static void PublishVisibility(const Region& region, Audience& audience);
    static void PublishPalette(const Region& region, Audience& audience);

    const Faults& faults;
    std::array<Region, regionCount> regions;
    std::array<bool, sensorCount> sensors{};
    unsigned int logLevel = 63;
};

}  // namespace sim
