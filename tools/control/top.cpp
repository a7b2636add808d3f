#include "control/top.h"

#include "control/metrics.h"
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
    const char* const value = secure_getenv(name);
    return value ? value : "";
}

/// A terminal that is drawn again and again, or an output that takes one table after the other.
struct Screen {
    explicit Screen(bool isOnce)
        : isDrawn(!isOnce && isatty(STDOUT_FILENO) != 0 && Variable("TERM") != "dumb")
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

std::string Table(const Value& state, const Before& before, const Screen& screen)
{
    const std::string head = CounterLine(state, before) + OtherLines(state);
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
    return head + "\n" + RegionTable(state, before, regions) + "\n" + ClientTable(state, clients);
}

}  // namespace

int Top(const Options& options)
{
    const platform::Descriptor signals = TakeSignals();
    Service service(options, signals.Get());
    Before before;
    Clock::time_point last;
    for (Clock::time_point next = Clock::now();;) {
        std::string json;
        Value state;
        int status = service.Ask("state", 0, json, state);
        if (status != words::exitDone || service.IsInterrupted()) {
            return status;
        }
        if (!state["ok"].IsTrue()) {
            return Fail(StatusOf(state), ErrorOf(state));
        }
        const Clock::time_point now = Clock::now();
        before.seconds = std::chrono::duration<double>(now - last).count();
        const Screen screen(options.once);
        const std::string table = Table(state, before, screen);
        status = Print(options.json         ? json + "\n"
                       : options.prometheus ? Metrics(state, options.name)
                       : screen.isDrawn     ? Drawn(table, screen)
                                            : table + (options.once ? "" : "\n"));
        before.state = std::move(state);
        last = now;
        next = std::max(next + std::chrono::seconds(1), now);
        const auto pause = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
        pollfd end{signals.Get(), POLLIN, 0};
        if (status != words::exitDone || options.once ||
            poll(&end, 1, std::max(static_cast<int>(pause.count()), 0)) != 0) {
            return status;
        }
    }
}

}  // namespace control
