#include "bench/measures.h"
#include "bench/ping_client.h"
#include "bench/services.h"
#include "bench/table.h"
#include "control/connection.h"

#include <stdexcept>

void MeasureControl(Table& table)
{
    const std::string name = "SubtitleMgr";
    const SimulatedService service;
    PingClient client;
    const auto ping = [&] { client.RoundTrip(name); };

    control::Connection connection;
    std::string answer;
    if (connection.Open(name, Deadline(1000), answer) != 0) {
        throw std::runtime_error(answer);
    }
    const auto publish = [&] {
        const auto result = connection.Ask("visibility 3 true", Deadline(1000), answer);
        if (result != control::Connection::Result::Done ||
            answer != R"({"ok":true,"receivers":0})") {
            throw std::runtime_error("control: " + answer);
        }
    };
    table.AddTime("control round trip, visibility", "ping",
                  ComparePairs(MeanTime(ping), MeanTime(publish)), {1.5, 0});
}
