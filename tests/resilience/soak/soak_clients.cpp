// Clients for script/soak, one command each. The first line reports that all have subscribed, the
// last line has the result. Status 1: notifications are lost, doubled or out of order, or a request
// has no answer.

#include "packaging/tool_options.h"
#include "tests/resilience/soak/Subscriber.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned readersInFlood = 9;
constexpr auto patience = std::chrono::seconds(30);

double MillisecondsSince(Clock::time_point begin)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

unsigned Number(const char* text) { return static_cast<unsigned>(std::strtoul(text, nullptr, 10)); }

void SayReady()
{
    std::puts("subscribed");
    std::fflush(stdout);
}

int Fail(const char* why)
{
    std::printf("%s\n", why);
    return 1;
}

/// One client takes \p count bitmaps.
int Read(unsigned count, unsigned lastNumber)
{
    Subscriber subscriber(lastNumber);
    if (!subscriber.Subscribe()) {
        return Fail("not subscribed");
    }
    SayReady();
    const Clock::time_point begin = Clock::now();
    Clock::time_point lastArrival = begin;
    while (subscriber.Received() < count && Clock::now() - lastArrival < patience) {
        const unsigned long long before = subscriber.Received();
        subscriber.Read();
        if (subscriber.Received() > before) {
            lastArrival = Clock::now();
        }
    }
    const double seconds = MillisecondsSince(begin) / 1000;
    std::printf("%llu received, %llu out of turn, %.1f s, %.0f a second\n", subscriber.Received(),
                subscriber.Wrong(), seconds, static_cast<double>(subscriber.Received()) / seconds);
    std::fflush(stdout);
    // soak.py measures this process until the input ends.
    std::getchar();
    return subscriber.Received() >= count && subscriber.Wrong() == 0 ? 0 : 1;
}

/// Subscribes and stops itself by a signal. When it continues, its connection must still exist.
int Stop()
{
    Subscriber subscriber(0xFFFFFFFFu);
    if (!subscriber.Subscribe()) {
        return Fail("not subscribed");
    }
    SayReady();
    std::raise(SIGSTOP);
    const Clock::time_point begin = Clock::now();
    while (subscriber.Received() == 0 && Clock::now() - begin < patience) {
        subscriber.Read();
    }
    if (!subscriber.Ping()) {
        return Fail("not answered");
    }
    if (subscriber.Received() == 0) {
        return Fail("no notification arrives");
    }
    std::puts("the stopped one goes on, is answered and receives");
    return 0;
}

struct Reader {
    std::unique_ptr<Subscriber> subscriber;
    std::thread thread;
};

void PrintLatencies(std::vector<double>& milliseconds)
{
    std::sort(milliseconds.begin(), milliseconds.end());
    const auto at = [&](double part) {
        return milliseconds[static_cast<std::size_t>(part *
                                                     static_cast<double>(milliseconds.size() - 1))];
    };
    std::printf("%zu requests answered: median %.3f ms, 99th percentile %.3f ms, longest %.3f ms\n",
                milliseconds.size(), at(0.5), at(0.99), at(1));
}

/// Makes at least \p requests pings while others read.
int Flood(unsigned requests, unsigned lastNumber)
{
    std::atomic<bool> isOver{false};
    std::vector<Reader> readers(readersInFlood);
    for (Reader& reader : readers) {
        reader.subscriber = std::make_unique<Subscriber>(lastNumber);
        if (!reader.subscriber->Subscribe()) {
            std::_Exit(Fail("not subscribed"));
        }
        reader.thread = std::thread([&isOver, &reader] {
            while (!isOver) {
                reader.subscriber->Read();
            }
        });
    }
    Subscriber requester(lastNumber);
    if (!requester.Connect()) {
        std::_Exit(Fail("not connected"));
    }
    SayReady();
    std::vector<double> latencies;
    unsigned lost = 0;
    const Clock::time_point begin = Clock::now();
    // Takes long enough that the service finds the stalled subscriber.
    while (latencies.size() < requests || Clock::now() - begin < std::chrono::seconds(3)) {
        const Clock::time_point sent = Clock::now();
        lost += requester.Ping() ? 0u : 1u;
        latencies.push_back(MillisecondsSince(sent));
    }
    const double seconds = MillisecondsSince(begin) / 1000;
    isOver = true;
    unsigned long long received = 0;
    unsigned long long wrong = 0;
    unsigned long long fewest = ~0ull;
    for (Reader& reader : readers) {
        reader.thread.join();
        received += reader.subscriber->Received();
        wrong += reader.subscriber->Wrong();
        fewest = std::min(fewest, reader.subscriber->Received());
    }
    PrintLatencies(latencies);
    std::printf("%u requests lost; %u readers got %llu, at least %llu each, %llu out of turn, "
                "%.1f s\n",
                lost, readersInFlood, received, fewest, wrong, seconds);
    return lost == 0 && wrong == 0 && fewest > 0 ? 0 : 1;
}

constexpr char usage[] = "Usage: soak_clients read COUNT LAST | stop | flood REQUESTS LAST\n"
                         "Runs clients of a service for a long time; script/soak starts it.\n";

}  // namespace

int main(int argc, char** argv)
{
    if (AnswersHelpOrVersion(argc, argv, "soak_clients", usage)) {
        return 0;
    }
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "read" && argc == 4) {
        return Read(Number(argv[2]), Number(argv[3]));
    }
    if (command == "stop" && argc == 2) {
        return Stop();
    }
    if (command == "flood" && argc == 4) {
        return Flood(Number(argv[2]), Number(argv[3]));
    }
    std::fputs(usage, stderr);
    return 2;
}
