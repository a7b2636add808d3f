#include "bench/measures.h"
#include "bench/ping_client.h"
#include "bench/raw_stream.h"
#include "bench/services.h"
#include "bench/table.h"

#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

/// Requests that each connect first. An endpoint keeps its connection to a service and is never
/// freed, so one endpoint makes many connections, under names that all lead to one socket.
class FreshConnections {
public:
    explicit FreshConnections(const MessagingFolder& folder)
    {
        for (unsigned int i = 0; i < RawConnections::count; ++i) {
            names.push_back("again" + std::to_string(i));
            Checked(link((folder / serviceName).c_str(), (folder / names.back()).c_str()), "link");
        }
    }

    void RequestOnEach()
    {
        for (const std::string& name : names) {
            client->RoundTrip(name);
        }
    }

    void Close()
    {
        client.reset();
        client.emplace();
        // With this reply, the service has seen the ends of the other connections.
        witness.RoundTrip(serviceName);
    }

private:
    const std::string serviceName = "SubtitleMgr";
    std::vector<std::string> names;
    std::optional<PingClient> client;
    PingClient witness;
};

/// Time of connecting, request and reply; connections are closed outside the measured time.
template <typename Connections>
Side TimeOf(Connections& connections)
{
    return [&connections](BenchClock::duration window) {
        BenchClock::duration measured{};
        double count = 0;
        const BenchClock::time_point end = BenchClock::now() + window;
        while (BenchClock::now() < end) {
            connections.Close();
            const BenchClock::time_point start = BenchClock::now();
            connections.RequestOnEach();
            measured += BenchClock::now() - start;
            count += RawConnections::count;
        }
        return std::chrono::duration<double>(measured).count() / count;
    };
}

}  // namespace

void MeasureFreshConnections(Table& table)
{
    const SimulatedService service;
    FreshConnections connections(service.Folder());
    RawPingPong rawStream;
    RawConnections rawConnections(service.Folder() / "raw");
    table.AddTime("request on a fresh connection", "raw round trip",
                  ComparePairs(MeanTime([&] { rawStream.RoundTrip(); }), TimeOf(connections)),
                  {3.5, 2.9});
    table.AddTime("  the same", "raw connect, round trip",
                  ComparePairs(TimeOf(rawConnections), TimeOf(connections)));
}
