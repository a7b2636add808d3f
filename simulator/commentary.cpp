#include "simulator/commentary.h"

#include "platform/src/line_limit.h"
#include "platform/src/sink.h"

#include <unistd.h>

using namespace platform;
using namespace sim;

namespace {

constexpr char program[] = "SubtitleMgrSim: ";

std::string LossLine(unsigned int lost, const char* reason)
{
    return std::string(program) + "standard error lost " + std::to_string(lost) +
           " lines: " + reason + "\n";
}

struct {
    Sink errors{LossLine, STDERR_FILENO};
    Sink output{nullptr, STDOUT_FILENO};
    LineLimit limit;
} outputs;

void ReportHeldBack(bool all)
{
    outputs.limit.Report(all, [](const char* kind, unsigned int count) {
        outputs.errors.Write(
            [&] { return program + LineLimit::MoreLikeThese(kind, count) + "\n"; });
    });
}

}  // namespace

void sim::Say(const char* text, const char* details, const char* start)
{
    outputs.errors.Write([&] { return std::string(start) + text + details + "\n"; });
}

void sim::SayReady(bool onErrors)
{
    Sink& sink = onErrors ? outputs.errors : outputs.output;
    sink.Write([] { return std::string("ready\n"); });
}

void sim::Tell(unsigned int client, const char* kind, const std::string& details)
{
    ReportHeldBack(false);
    if (outputs.limit.Admits(kind)) {
        TellServed(client, kind, details);
    }
}

void sim::TellServed(unsigned int client, const char* remark, const std::string& request)
{
    outputs.errors.Write([&] {
        const std::string who = client == 0 ? "" : "client " + std::to_string(client) + ": ";
        return program + who + remark + request + "\n";
    });
}

int sim::SettleOutputs(bool atEnd)
{
    ReportHeldBack(atEnd);
    const bool areErrorsDone = outputs.errors.Flush();
    const bool isOutputDone = outputs.output.Flush();
    return areErrorsDone && isOutputDone ? outputs.limit.NextReportMs() : Sink::retryMs;
}
