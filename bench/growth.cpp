#include "bench/measures.h"
#include "bench/memory.h"
#include "bench/pairs.h"
#include "bench/process.h"
#include "bench/services.h"
#include "bench/subscriber.h"
#include "bench/table.h"
#include "records/received_record.h"

#include <LinxIpc.h>
#include <RegionDataItem.h>
#include <SubtitleClient.h>

#include <list>
#include <stdexcept>
#include <sys/resource.h>
#include <unistd.h>

// How the cost grows with the size of a bitmap, and with the number of its subscribers.

namespace {

constexpr std::size_t regionSize = 30720;

void Decode(LinxIpc* ipc, void*)
{
    RegionDataItem item;
    DecodeReceived(*ipc, item);
}

/// Two descriptors for each subscriber.
void RaiseDescriptorLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

void MeasureBitmapSize(Table& table, std::size_t kib)
{
    ForgetPeakMemory();
    const SimulatedService service(BitmapScenario(kib * 1024));
    Subscriber subscriber(Decode);
    const Side side = MeanTimeOfMany([&subscriber] { return subscriber.Receive(); });
    const double time = MedianOf(side);
    table.AddGrowth(std::to_string(kib) + " KiB bitmap", time, "a notification",
                    PeakMemoryKiB(service.Pid()), PeakMemoryKiB(getpid()));
}

class Audience {
public:
    explicit Audience(std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i) {
            subscribers.emplace_back(Decode);
        }
        ipc.Init();
        item.regionId = 3;
        item.data = CifBitmap(regionSize);
    }

    /// One bitmap to the service, and one notification from it to each subscriber.
    void Publish()
    {
        if (client.SetRegionData(item) != 0) {
            throw std::runtime_error("the service refused a bitmap");
        }
        for (Subscriber& subscriber : subscribers) {
            while (subscriber.Receive() < 1) {
            }
        }
    }

private:
    std::list<Subscriber> subscribers;
    LinxIpc ipc{"bench"};
    SubtitleClient client{ipc, 2000};
    RegionDataItem item;
};

void MeasureSubscribers(Table& table, unsigned int count)
{
    ForgetPeakMemory();
    const SimulatedService service;
    Audience audience(count);
    const Side side = [&audience](BenchClock::duration window) {
        return TimePerOperation(window, 1, [&audience] {
            audience.Publish();
            return 1;
        });
    };
    table.AddGrowth(std::to_string(count) + " subscribers", MedianOf(side) / count, "a subscriber",
                    PeakMemoryKiB(service.Pid()), PeakMemoryKiB(getpid()));
}

}  // namespace

void MeasureGrowth(Table& table)
{
    table.AddGrowthHeading("decoded notifications of a size, from the simulator");
    for (const std::size_t kib : {0u, 1u, 10u, 100u, 1000u}) {
        MeasureBitmapSize(table, kib);
    }
    RaiseDescriptorLimit();
    table.AddGrowthHeading("a bitmap of 30,720 bytes, set and published to many in one process");
    for (const unsigned int count : {1u, 10u, 100u, 1000u}) {
        MeasureSubscribers(table, count);
    }
}
