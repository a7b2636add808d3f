#include "bench/measures.h"
#include "bench/raw_stream.h"
#include "bench/redis.h"
#include "bench/services.h"
#include "bench/table.h"

#include <string>
#include <vector>

namespace {

/// The time from start to end of the process, repeated.
Side TimeOf(const std::vector<std::string>& arguments)
{
    return [=](BenchClock::duration window) {
        return TimePerOperation(window, 1, [&arguments] {
            RunProgram(arguments);
            return 1;
        });
    };
}

}  // namespace

void MeasureStartUp(Table& table)
{
    const std::string measure = "process SubtitleMgrCli -p";
    if (Redis::IsInstalled() && IsInstalled("redis-cli")) {
        const Redis redis;
        const SimulatedService service;
        table.AddTime(measure, "redis-cli ping",
                      ComparePairs(TimeOf({"redis-cli", "-s", redis.SocketPath(), "ping"}),
                                   TimeOf({ProgramBeside("SubtitleMgrCli"), "-p"})),
                      {0.50, 0.28});
    } else {
        table.AddRemark("redis-server or redis-cli is not installed: no row for redis-cli ping");
    }
    const SimulatedService service;
    const RawConnections floor(service.Folder() / "floor");
    table.AddTime(
        measure, "one-shot floor",
        ComparePairs(TimeOf({ProgramBeside("one_shot_floor"), service.Folder() / "floor"}),
                     TimeOf({ProgramBeside("SubtitleMgrCli"), "-p"})),
        {1.25, 0.70});
}
