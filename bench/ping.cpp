#include "bench/dbus_calls.h"
#include "bench/measures.h"
#include "bench/ping_client.h"
#include "bench/raw_stream.h"
#include "bench/redis.h"
#include "bench/services.h"
#include "bench/table.h"

#include <algorithm>
#include <vector>

namespace {

const std::string serviceName = "SubtitleMgr";

/// The 99th percentile of the times of \p roundTrip.
template <typename RoundTrip>
Side SlowTime(RoundTrip roundTrip)
{
    return [=](BenchClock::duration window) {
        std::vector<BenchClock::duration> times;
        BenchClock::time_point now = BenchClock::now();
        for (const BenchClock::time_point end = now + window; now < end;) {
            const BenchClock::time_point start = now;
            roundTrip();
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
    PingClient client;
    const auto ping = [&client] { client.RoundTrip(serviceName); };
    RawPingPong rawStream;
    const auto raw = [&rawStream] { rawStream.RoundTrip(); };

    const Comparison comparison = ComparePairs(MeanTime(raw), MeanTime(ping));
    table.AddTime("ping round trip", "raw", comparison, {1.30, 1.12});
    table.AddRate("  round trips a second", "raw", comparison);
    table.AddTime("  99th percentile", "raw", ComparePairs(SlowTime(raw), SlowTime(ping)),
                  {2.0, 1.3});
    if (Redis::IsInstalled()) {
        Redis redis;
        const auto redisPing = [&redis] { redis.Ping(); };
        table.AddTime("ping round trip", "redis PING",
                      ComparePairs(MeanTime(redisPing), MeanTime(ping)), {0.95, 0.82});
    } else {
        table.AddRemark("redis-server is not installed: no row for redis PING");
    }
    if (DbusDaemon::IsInstalled()) {
        DbusDaemon dbus;
        const auto call = [&dbus] { dbus.Call(); };
        table.AddTime("ping round trip", "D-Bus call to its daemon",
                      ComparePairs(MeanTime(call), MeanTime(ping)));
    } else {
        table.AddRemark("dbus-daemon is not installed: no row for a D-Bus call");
    }
}
