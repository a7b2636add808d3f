// All measures of a run, in the order of the table.

#include "bench/measures.h"
#include "bench/process.h"
#include "bench/table.h"

#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <unistd.h>

namespace {

/// Standard output is the handlers', and goes nowhere.
std::FILE* TakeStandardOutput()
{
    const int kept = Checked(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0), "standard output");
    dup2(Checked(open("/dev/null", O_WRONLY | O_CLOEXEC), "/dev/null"), STDOUT_FILENO);
    return fdopen(kept, "w");
}

}  // namespace

int main()
{
    try {
        PinToOneProcessor();
        Table table(TakeStandardOutput());
        MeasurePing(table);
        MeasureFreshConnections(table);
        MeasureNotifications(table);
        MeasureStartUp(table);
        MeasureIdleConsole(table);
        MeasureConsoleWork(table);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "bench: %s\n", problem.what());
        return 1;
    }
    return 0;
}
