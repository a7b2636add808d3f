// All measures of a run, in the order of the table.

#include "bench/measures.h"
#include "bench/process.h"
#include "bench/table.h"
#include "packaging/tool_options.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <unistd.h>

namespace {

/// Standard output becomes /dev/null, for the handlers. \return the original one, for the table
std::FILE* TakeStandardOutput()
{
    const int kept = Checked(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0), "standard output");
    dup2(Checked(open("/dev/null", O_WRONLY | O_CLOEXEC), "/dev/null"), STDOUT_FILENO);
    return fdopen(kept, "w");
}

struct Part {
    const char* name;
    void (*measure)(Table&);
};

constexpr Part parts[] = {
    {"ping", MeasurePing},
    {"control", MeasureControl},
    {"connection", MeasureFreshConnections},
    {"notifications", MeasureNotifications},
    {"recordings", MeasureRecordings},
    {"plays", MeasurePlays},
    {"start-up", MeasureStartUp},
    {"idle", MeasureIdleConsole},
    {"console", MeasureConsoleWork},
    {"growth", MeasureGrowth},
};

bool IsWanted(const char* name, int argc, char** argv)
{
    return argc == 1 || std::any_of(argv + 1, argv + argc, [name](const char* wanted) {
               return std::strcmp(wanted, name) == 0;
           });
}

constexpr char usage[] =
    "Usage: subtitle_bench [part...]\n"
    "The cost of messages compared with bare sockets and other services; all parts by default:\n"
    "ping control connection notifications recordings plays start-up idle console growth\n"
    "script/bench builds and runs it, with a folder for its sockets.\n";

}  // namespace

/// The arguments are names of parts; none for all of them.
int main(int argc, char** argv)
{
    if (AnswersHelpOrVersion(argc, argv, "subtitle_bench", usage)) {
        return 0;
    }
    try {
        PinToOneProcessor();
        Table table(TakeStandardOutput());
        for (const Part& part : parts) {
            if (IsWanted(part.name, argc, argv)) {
                part.measure(table);
            }
        }
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "bench: %s\n", problem.what());
        return 1;
    }
    return 0;
}
