#include "bench/measures.h"
#include "bench/process.h"
#include "bench/services.h"
#include "bench/table.h"

#include <ctime>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

constexpr std::chrono::seconds watchTime{5};

/// A subscribed console that gets no notifications.
class IdleConsole {
public:
    IdleConsole()
    {
        int input[2];
        int output[2];
        Checked(pipe2(input, O_CLOEXEC), "pipe");
        Checked(pipe2(output, O_CLOEXEC), "pipe");
        const Descriptor inputOfConsole(input[0]);
        typed = Descriptor(input[1]);
        shown = Descriptor(output[0]);
        const Descriptor outputOfConsole(output[1]);
        console.emplace(std::vector<std::string>{ProgramBeside("SubtitleMgrCli"), "-i"},
                        inputOfConsole.Get(), outputOfConsole.Get());
        if (write(typed.Get(), "1\n", 2) != 2) {
            throw std::runtime_error("the console takes no input");
        }
        AwaitText("(currently subscribed)");
    }

    /// Processor time of all its threads so far, in seconds.
    double ProcessorTime() const
    {
        clockid_t clock;
        timespec time{};
        if (clock_getcpuclockid(console->Pid(), &clock) != 0 || clock_gettime(clock, &time) != 0) {
            throw std::runtime_error("the console has ended");
        }
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    }

private:
    void AwaitText(const std::string& text)
    {
        for (std::string seen; seen.find(text) == std::string::npos;) {
            char bytes[4096];
            const ssize_t size = read(shown.Get(), bytes, sizeof bytes);
            if (size <= 0) {
                throw std::runtime_error("the console ended before it showed " + text);
            }
            seen.append(bytes, static_cast<std::size_t>(size));
        }
    }

    Descriptor typed;
    Descriptor shown;
    std::optional<Process> console;
};

}  // namespace

void MeasureIdleConsole(Table& table)
{
    const SimulatedService service;
    const IdleConsole console;
    const BenchClock::time_point start = BenchClock::now();
    const double before = console.ProcessorTime();
    std::this_thread::sleep_for(watchTime);
    const double used = console.ProcessorTime() - before;
    const std::chrono::duration<double> watched = BenchClock::now() - start;
    table.AddShare("CPU of a subscribed console with no traffic", 100 * used / watched.count(),
                   {1.0, 0.2});
}
