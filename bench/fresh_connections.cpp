#include "bench/local_socket.h"
#include "bench/measures.h"
#include "bench/ping_client.h"
#include "bench/raw_stream.h"
#include "bench/services.h"
#include "bench/table.h"

#include <optional>
#include <vector>

#include <unistd.h>

namespace {

/// An endpoint keeps its connection to a service, and what stands behind an endpoint is never
/// freed. So many connections are made by one endpoint, under names which all lead to one socket.
class FreshConnections {
public:
    explicit FreshConnections(const MessagingFolder& folder)
    {
        constexpr unsigned int count = 32;
        for (unsigned int i = 0; i < count; ++i) {
            names.push_back("again" + std::to_string(i));
            Checked(link((folder / "SubtitleMgr").c_str(), (folder / names.back()).c_str()),
                    "link");
        }
    }

    /// One request on a connection of its own; those before it are closed from time to time.
    void Request()
    {
        if (next == names.size() || !client) {
            client.emplace();
            next = 0;
        }
        client->RoundTrip(names[next]);
        ++next;
    }

private:
    std::vector<std::string> names;
    std::size_t next = 0;
    std::optional<PingClient> client;
};

}  // namespace

void MeasureFreshConnections(Table& table)
{
    const SimulatedService service;
    FreshConnections connections(service.Folder());
    RawPingPong rawStream;
    RawConnections rawConnections(service.Folder() / "raw");
    const auto ours = MeanTime([&connections] { connections.Request(); });
    table.AddTime("request on a fresh connection", "raw round trip",
                  ComparePairs(MeanTime([&rawStream] { rawStream.RoundTrip(); }), ours),
                  {3.5, 2.9});
    table.AddTime("  the same", "raw on a fresh connection",
                  ComparePairs(MeanTime([&rawConnections] { rawConnections.RoundTrip(); }), ours));
}
