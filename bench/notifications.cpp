#include "bench/measures.h"
#include "bench/mosquitto.h"
#include "bench/raw_stream.h"
#include "bench/redis.h"
#include "bench/services.h"
#include "bench/subscriber.h"
#include "bench/table.h"
#include "handlers/notification_handlers.h"

namespace {

constexpr std::size_t regionSize = 30720;
constexpr std::size_t smallSize = 64;

template <typename Messages>
Side TimeOf(Messages& messages)
{
    return MeanTimeOfMany([&messages] { return messages.Receive(); });
}

template <typename Messages>
Comparison CompareWith(Messages& messages, Subscriber::Callback callback)
{
    Subscriber subscriber(callback);
    return ComparePairs(TimeOf(messages), TimeOf(subscriber));
}

/// The library alone: a bare sendmsg() loop feeds both sides.
Comparison LibraryBesideRaw(std::size_t size, Subscriber::Callback callback)
{
    RawMessages raw(size);
    const BarePublisher publisher(size);
    return CompareWith(raw, callback);
}

/// The library with the simulated service, which sends the notifications.
template <typename Messages>
Comparison WholeBeside(Messages& messages, std::size_t size, Subscriber::Callback callback)
{
    const SimulatedService service(BitmapScenario(size));
    return CompareWith(messages, callback);
}

void MeasureBesideRaw(Table& table)
{
    table.AddRate("30,720-byte region data, library only", "raw",
                  LibraryBesideRaw(regionSize, Ignore), {0.85, 0.95});
    table.AddRate("  the same through HandleRegionData, CIF", "raw",
                  LibraryBesideRaw(regionSize, HandleRegionData), {0.60, 0.75});
    table.AddRate("64-byte notifications, library only", "raw", LibraryBesideRaw(smallSize, Ignore),
                  {0.80, 0.95});
}

void MeasureWholeBesideRaw(Table& table)
{
    RawMessages raw(regionSize);
    table.AddRate("30,720-byte region data, simulator + library", "raw",
                  WholeBeside(raw, regionSize, Ignore));
    table.AddRate("  the same through HandleRegionData, CIF", "raw",
                  WholeBeside(raw, regionSize, HandleRegionData));
}

void MeasureBesideOthers(Table& table)
{
    const std::string measure = "  the same through HandleRegionData, CIF";
    if (Redis::IsInstalled()) {
        const Redis server;
        RedisMessages messages(server, regionSize);
        table.AddRate(measure, "redis pub/sub", WholeBeside(messages, regionSize, HandleRegionData),
                      {1.7, 2.2});
    } else {
        table.AddRemark("redis-server is not installed: no row for redis pub/sub");
    }
    if (MosquittoMessages::IsInstalled()) {
        MosquittoMessages messages(regionSize);
        table.AddRate(measure, "mosquitto, mosquitto_sub",
                      WholeBeside(messages, regionSize, HandleRegionData), {3.5, 4.5});
    } else {
        table.AddRemark("mosquitto or mosquitto_sub is not installed: no row for them");
    }
}

void MeasureSmallWholeBesideRaw(Table& table)
{
    RawMessages raw(smallSize);
    table.AddRate("64-byte notifications, simulator + library", "raw",
                  WholeBeside(raw, smallSize, Ignore));
}

}  // namespace

void MeasureNotifications(Table& table)
{
    MeasureBesideRaw(table);
    MeasureWholeBesideRaw(table);
    MeasureBesideOthers(table);
    MeasureSmallWholeBesideRaw(table);
}
