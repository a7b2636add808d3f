// Concurrent calls: soak_meetings SECONDS SEED SERVICE kills, stops, restarts and floods the
// service of eight threads. From time to time it pauses the threads and checks all confirmed calls:
// subscriptions must deliver notifications, and requests must be in the journal.

#include "tests/harness/ChildProcess.h"
#include "tests/resilience/soak/Callers.h"

#include <LinxIpc.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>
#include <SubtitleClient.h>

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds timeBetweenChecks{3};
constexpr seconds deliveryLimit{60};

class Meetings {
public:
    Meetings(unsigned seed, const std::string& serviceProgram, const std::string& folder)
        : random(seed), program(serviceProgram), journal(folder + "/journal"),
          flood(folder + "/flood"), callers(seed)
    {
        std::ofstream scenario(flood);
        scenario << "region-data 5 0 " << std::string(4000, '1') << "\nvisibility 5 t\n"
                 << "region-data 6 2 " << std::string(4000, '2') << "\npalette 5 31 t 10ff\n";
    }

    void Run(seconds duration);

private:
    unsigned Below(unsigned limit) { return static_cast<unsigned>(random() % limit); }
    void Pause(unsigned mostMs) { std::this_thread::sleep_for(milliseconds(Below(mostMs))); }

    void StartService();
    void EndService();
    void Kill();
    void Disturb();
    void Publish();
    void CheckSubscriptions();
    void CheckJournal();

    std::mt19937 random;
    const std::string program;
    const std::string journal;
    const std::string flood;
    std::unique_ptr<ChildProcess> service;
    Callers callers;
    LinxIpc publishingIpc{"Publisher"};
    SubtitleClient publisher{publishingIpc, 5000};
    unsigned region = 0;  ///< of the last publication
    unsigned kills = 0;
    unsigned stops = 0;
    unsigned checked = 0;
    unsigned long long journalled = 0;
};

void Meetings::Run(seconds duration)
{
    if (publishingIpc.Init() != 0) {
        Violation("the endpoint cannot be opened");
    }
    StartService();
    for (const Clock::time_point end = Clock::now() + duration; Clock::now() < end;) {
        callers.Resume();
        const Clock::time_point check = std::min(end, Clock::now() + timeBetweenChecks);
        while (Clock::now() < check) {
            Disturb();
        }
        callers.Pause();
        Kill();  // now no call but the receiving one renews subscriptions
        CheckSubscriptions();
        CheckJournal();
    }
    callers.Close();
    EndService();
    std::printf("meetings: %s; %u kills, %u stops; %u subscriptions and %llu requests found\n",
                callers.Summary().c_str(), kills, stops, checked, journalled);
}

void Meetings::StartService()
{
    std::vector<std::string> command{program, "--quiet", "--journal", journal};
    if (Below(2) == 0) {
        command.insert(command.end(), {"--play", flood, "--loop"});
    }
    service = std::make_unique<ChildProcess>(command);
    service->WaitForOutput("ready\n");
}

void Meetings::EndService()
{
    service->Signal(SIGTERM);
    const int status = service->WaitForExit();
    if (status != 0) {
        Violation("the service ended with " + std::to_string(status) + ": " + service->Errors());
    }
}

void Meetings::Kill()
{
    service.reset();
    ++kills;
    Pause(200);
    StartService();
}

void Meetings::Disturb()
{
    Pause(300);
    switch (Below(5)) {
    case 0:
    case 1: Kill(); break;
    case 2:
        EndService();
        StartService();
        break;
    default:
        service->Stop();
        ++stops;
        Pause(800);
        service->Continue();
        break;
    }
}

/// Publishes a bitmap and a visibility. Only the publisher uses these regions, one after the other,
/// so that earlier notifications do not count.
void Meetings::Publish()
{
    region = region < 7 || region == 14 ? 7 : region + 1;
    callers.AwaitRegion(region);
    RegionDataItem bitmap;
    bitmap.regionId = static_cast<unsigned char>(region);
    bitmap.data = {1};
    RegionVisItem visibility;
    visibility.regionId = bitmap.regionId;
    publisher.SetRegionData(bitmap);
    publisher.SetRegionVisibility(visibility);
}

void Meetings::CheckSubscriptions()
{
    const auto inForce = callers.InForce();
    auto silent = inForce;
    checked += static_cast<unsigned>(silent.size());
    // Each wait is longer than the one before, since a busy machine may need more time. Only the
    // last publication counts.
    milliseconds wait{50};
    for (const Clock::time_point end = Clock::now() + deliveryLimit; !silent.empty();) {
        if (Clock::now() > end) {
            Violation("nothing arrives under subscription " +
                      std::to_string(silent.begin()->first));
        }
        Publish();
        std::this_thread::sleep_for(wait);
        wait *= 2;
        for (const Callers::Subscription* reached : callers.Arrived()) {
            const auto expected = inForce.find(reached->number);
            if (expected != inForce.end() && expected->second != reached) {
                Violation("another callback than that of subscription " +
                          std::to_string(reached->number) + " was called");
            }
            silent.erase(reached->number);
        }
    }
}

/// Empties the journal afterwards, since it would become large in an hour.
void Meetings::CheckJournal()
{
    std::set<unsigned> levels;
    {
        std::ifstream lines(journal);
        const std::string name = R"("level":)";
        for (std::string line; std::getline(lines, line);) {
            const std::size_t at = line.find(name);
            if (at != std::string::npos) {
                levels.insert(static_cast<unsigned>(std::stoul(line.substr(at + name.size()))));
            }
        }
    }
    for (const unsigned level : callers.TakeAcknowledged()) {
        ++journalled;
        if (levels.count(level) == 0) {
            Violation("request " + std::to_string(level) + " is not in the journal");
        }
    }
    if (truncate(journal.c_str(), 0) != 0) {
        Violation("the journal cannot be emptied");
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const char* const folder = std::getenv("LINX_DIR");
    if (argc != 4 || !folder) {
        std::fputs("soak_meetings SECONDS SEED SERVICE, with LINX_DIR\n", stderr);
        return 2;
    }
    const auto number = [argv](int i) {
        return static_cast<unsigned>(std::strtoul(argv[i], nullptr, 10));
    };
    const unsigned seed = number(2);
    std::printf("meetings: %u s, seed %u\n", number(1), seed);
    std::fflush(stdout);
    try {
        Meetings(seed, argv[3], folder).Run(seconds(number(1)));
    } catch (const std::runtime_error& problem) {
        Violation(problem.what());
    }
    return 0;
}
