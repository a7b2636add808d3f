#include "simulator/commentary.h"

#include "platform/src/line_limit.h"
#include "platform/src/sink.h"

#include <unistd.h>

namespace sim {

using namespace platform;

namespace {

constexpr char program[] = "SubtitleMgrSim: ";

std::string LossLine(unsigned int lost, const char* reason)
{
    return std::string(program) + "standard error lost " + std::to_string(lost) +
           " lines: " + reason + "\n";
}

struct Outputs {
    Sink errors{LossLine, STDERR_FILENO};
    Sink output{nullptr, STDOUT_FILENO};
    LineLimit limit;
};

Outputs& TheOutputs()
{
    static Outputs outputs;
    return outputs;
}

void ReportHeldBack(bool all)
{
    TheOutputs().limit.Report(all, [](const char* what, unsigned int count) {
        TheOutputs().errors.Write(
            [&] { return program + LineLimit::MoreLikeThese(what, count) + "\n"; });
    });
}

bool Admits(const char* what)
{
    ReportHeldBack(false);
    return TheOutputs().limit.Admits(what);
}

}  // namespace

void Say(const char* text, const char* details, const char* start)
{
    TheOutputs().errors.Write([&] { return std::string(start) + text + details + "\n"; });
}

void SayReady()
{
    TheOutputs().output.Write([] { return std::string("ready\n"); });
}

int SettleOutputs(bool atEnd)
{
    ReportHeldBack(atEnd);
    const bool areErrorsDone = TheOutputs().errors.Flush();
    const bool isOutputDone = TheOutputs().output.Flush();
    return areErrorsDone && isOutputDone ? TheOutputs().limit.NextReportMs() : Sink::retryMs;
}

void Commentary::TellServed(unsigned int client, const char* remark, const std::string& request)
{
    TheOutputs().errors.Write([&] {
        return std::string(program) + "client " + std::to_string(client) + ": " + remark + request +
               "\n";
    });
}

void Commentary::Tell(unsigned int client, const char* what, const std::string& details)
{
    if (Admits(what)) {
        TellServed(client, what, details);
    }
}

void Commentary::Tell(const char* what)
{
    if (Admits(what)) {
        Say(what);
    }
}

}  // namespace sim
