#include "bench/measures.h"
#include "bench/raw_stream.h"
#include "bench/services.h"
#include "bench/table.h"

#include <LinxIpc.h>
#include <wire_format.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace {

const std::string serviceName = "SubtitleMgr";
constexpr unsigned int roundTripsPerLook = 16;

class PingClient {
public:
    PingClient()
    {
        ipc.Init();
        request.Allocate(messages::ping, 0, nullptr);
    }

    void RoundTrip()
    {
        if (ipc.Request(serviceName, request, messages::ReplyTo(messages::ping), -1, nullptr) !=
            0) {
            throw std::runtime_error("a ping failed");
        }
    }

private:
    LinxIpc ipc{"bench"};
    IpcMessage request;
};

template <typename Client>
Side TimeOf(Client& client)
{
    return [&client](BenchClock::duration window) {
        return TimePerOperation(window, roundTripsPerLook, [&client] {
            client.RoundTrip();
            return 1;
        });
    };
}

/// The time that 99 of 100 round trips stay below.
template <typename Client>
Side SlowTimeOf(Client& client)
{
    return [&client](BenchClock::duration window) {
        std::vector<BenchClock::duration> times;
        const BenchClock::time_point end = BenchClock::now() + window;
        BenchClock::time_point now = BenchClock::now();
        while (now < end) {
            const BenchClock::time_point start = now;
            client.RoundTrip();
            now = BenchClock::now();
            times.push_back(now - start);
        }
        const auto slow = times.begin() + static_cast<std::ptrdiff_t>(times.size() * 99 / 100);
        std::nth_element(times.begin(), slow, times.end());
        return std::chrono::duration<double>(*slow).count();
    };
}

}  // namespace

void MeasurePing(Table& table)
{
    const SimulatedService service;
    PingClient ours;
    RawPingPong raw;
    table.AddRate("ping round trips a second", "raw", ComparePairs(TimeOf(raw), TimeOf(ours)));
    table.AddTime("ping round trip", "raw", ComparePairs(TimeOf(raw), TimeOf(ours)), {1.30, 1.12});
    table.AddTime("ping round trip, 99th percentile", "raw",
                  ComparePairs(SlowTimeOf(raw), SlowTimeOf(ours)), {2.0, 1.3});
}
