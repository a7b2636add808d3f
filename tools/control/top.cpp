#include "control/top.h"

#include "control/report.h"
#include "control/service.h"
#include "platform/src/descriptor.h"
#include "words/exit_status.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <limits>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace control {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t noLimit = std::numeric_limits<std::size_t>::max();

/// A descriptor that becomes readable when the program is to end.
platform::Descriptor TakeSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return platform::Descriptor(signalfd(-1, &signals, SFD_CLOEXEC));
}

std::string Variable(const char* name)
{
    const char* const value = std::getenv(name);
    return value ? value : "";
}

/// A terminal that is drawn again and again, or an output that takes one table after the other.
struct Screen {
    Screen() : isDrawn(isatty(STDOUT_FILENO) != 0 && Variable("TERM") != "dumb")
    {
        winsize size{};
        if (isDrawn && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0) {
            rows = size.ws_row;
            columns = size.ws_col;
        }
    }

    bool isDrawn;
    std::size_t rows = noLimit;
    std::size_t columns = noLimit;
};

/// The lines of \p text as they fit, headings in bold unless NO_COLOR is set.
std::string Drawn(const std::string& text, const Screen& screen)
{
    const bool isBold = Variable("NO_COLOR").empty();
    std::string drawn = "\x1b[H";
    for (std::size_t at = 0, end; at < text.size(); at = end + 1) {
        end = text.find('\n', at);
        const std::string line = text.substr(at, std::min(end - at, screen.columns));
        const bool isHeading =
            line.compare(0, 6, "REGION") == 0 || line.compare(0, 6, "CLIENT") == 0;
        drawn += (isBold && isHeading ? "\x1b[1m" + line + "\x1b[m" : line) + "\x1b[K\n";
    }
    return drawn + "\x1b[J";
}

/// Counters with their rates since the state before.
class Rates {
public:
    std::string Line(const Value& state)
    {
        const Clock::time_point now = Clock::now();
        const double seconds = std::chrono::duration<double>(now - lastTime).count();
        const Value& counters = state["counters"];
        std::string text;
        for (const Field& counter : counters.fields) {
            const std::uint64_t before = last[counter.name].Number();
            const std::uint64_t number = counter.value.Number();
            text += (text.empty() ? "" : ", ") + counter.name + " " + counter.value.text;
            if (last.Has(counter.name) && number >= before) {
                const double rate = static_cast<double>(number - before) / seconds;
                text += " (" + std::to_string(static_cast<std::uint64_t>(rate + 0.5)) + "/s)";
            }
        }
        last = counters;
        lastTime = now;
        return text;
    }

private:
    Value last;
    Clock::time_point lastTime;
};

std::string Table(const Options& options, const Value& state, Rates& rates, const Screen& screen)
{
    const std::string head = options.name + ": " + rates.Line(state) + "\n" + StateLines(state);
    std::size_t regions = noLimit;
    std::size_t clients = noLimit;
    if (screen.rows != noLimit) {
        // Besides the rows: two headings, two lines for those left out, two empty lines.
        const std::size_t others =
            6 + static_cast<std::size_t>(std::count(head.begin(), head.end(), '\n'));
        const std::size_t room = std::max(screen.rows, others + 2) - others;
        regions = room - std::min(state["clients"].items.size(), room / 2);
        clients = room - std::min(state["regions"].items.size(), room / 2);
    }
    return head + "\n" + RegionTable(state, regions) + "\n" + ClientTable(state, clients);
}

}  // namespace

int Top(const Options& options)
{
    const platform::Descriptor signals = TakeSignals();
    Service service(options, signals.Get());
    Rates rates;
    std::string json;
    Value state;
    for (Clock::time_point next = Clock::now();;) {
        int status = service.Ask("state", 0, json, state);
        if (status != words::exitDone || service.IsInterrupted()) {
            return status;
        }
        if (!state["ok"].IsTrue()) {
            return Fail(StatusOf(state), ErrorOf(state));
        }
        const Screen screen;
        const std::string table = Table(options, state, rates, screen);
        status = Print(options.json     ? json + "\n"
                       : options.once   ? table
                       : screen.isDrawn ? Drawn(table, screen)
                                        : table + "\n");
        next = std::max(next + std::chrono::seconds(1), Clock::now());
        const auto pause = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
        pollfd end{signals.Get(), POLLIN, 0};
        if (status != words::exitDone || options.once ||
            poll(&end, 1, static_cast<int>(pause.count())) != 0) {
            return status;
        }
    }
}

}  // namespace control
