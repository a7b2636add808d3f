#include "bench/measures.h"
#include "bench/raw_stream.h"
#include "bench/services.h"
#include "bench/subscriber.h"
#include "bench/table.h"
#include "handlers/notification_handlers.h"

namespace {

constexpr std::size_t regionSize = 30720;
constexpr std::size_t smallSize = 64;
constexpr unsigned int readsPerLook = 16;

template <typename Reader>
Side TimeOf(Reader& reader)
{
    return [&reader](BenchClock::duration window) {
        return TimePerOperation(window, readsPerLook, [&reader] { return reader.Receive(); });
    };
}

Comparison CompareWithRaw(std::size_t size, Subscriber::Callback callback)
{
    RawMessages raw(size);
    Subscriber subscriber(callback);
    return ComparePairs(TimeOf(raw), TimeOf(subscriber));
}

Comparison LibraryAgainstRaw(std::size_t size, Subscriber::Callback callback)
{
    const BarePublisher publisher(size);
    return CompareWithRaw(size, callback);
}

Comparison SimulatorAndLibraryAgainstRaw(std::size_t size, Subscriber::Callback callback)
{
    const SimulatedService service(BitmapScenario(size));
    return CompareWithRaw(size, callback);
}

}  // namespace

void MeasureNotifications(Table& table)
{
    table.AddRate("30,720-byte region data, library only", "raw",
                  LibraryAgainstRaw(regionSize, Ignore), {0.85, 0.95});
    table.AddRate("  the same through HandleRegionData, CIF", "raw",
                  LibraryAgainstRaw(regionSize, HandleRegionData), {0.60, 0.75});
    table.AddRate("  library, played by the simulator", "raw",
                  SimulatorAndLibraryAgainstRaw(regionSize, Ignore));
    table.AddRate("  HandleRegionData, played by the simulator", "raw",
                  SimulatorAndLibraryAgainstRaw(regionSize, HandleRegionData));
    table.AddRate("64-byte notifications, library only", "raw",
                  LibraryAgainstRaw(smallSize, Ignore), {0.80, 0.95});
    table.AddRate("  the same, played by the simulator", "raw",
                  SimulatorAndLibraryAgainstRaw(smallSize, Ignore));
}
