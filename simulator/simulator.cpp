#include "simulator/simulator.h"

#include "simulator/commentary.h"
#include "simulator/journal.h"
#include "simulator/listener.h"
#include "simulator/options.h"
#include "simulator/scenario.h"
#include "simulator/server.h"

#include "platform/src/descriptor.h"
#include <LogClient.h>

#include <csignal>
#include <exception>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

namespace sim {

using namespace platform;

namespace {

int CannotStart(const std::string& problem)
{
    Say(problem);
    return exitCannotStart;
}

void PrepareSignals()
{
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGTERM);
    sigaddset(&stops, SIGINT);
    sigprocmask(SIG_BLOCK, &stops, nullptr);
    // Its lines may be read by a program that ends before the service does.
    std::signal(SIGPIPE, SIG_IGN);
}

/// A descriptor for each peer, and some for the service itself, where the system allows them.
void RaiseDescriptorLimit()
{
    constexpr rlim_t wanted = PeerTable::maxPeers + 64;
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < wanted) {
        limit.rlim_cur = limit.rlim_max < wanted ? limit.rlim_max : wanted;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

void AnnounceReadiness() { WriteAll(STDOUT_FILENO, "ready\n"); }

int Serve(const Options& options)
{
    std::string problem;
    Scenario scenario;
    if (!options.scenario.empty() && !LoadScenario(options.scenario, scenario, problem)) {
        WriteAll(STDERR_FILENO, problem + "\n");
        return exitBadInput;
    }
    Journal journal;
    if (!options.journal.empty() && !journal.Open(options.journal, problem)) {
        return CannotStart(problem);
    }
    // Not before: a journal that is a pipe waits for its reader, and a signal may end that wait.
    PrepareSignals();
    RaiseDescriptorLimit();
    Listener listener;
    if (!listener.Open(options.name, problem)) {
        return CannotStart(problem);
    }
    Server server(listener.Fd(), options, scenario, journal);
    if (!server.Open(problem)) {
        return CannotStart(problem);
    }
    AnnounceReadiness();
    server.Run();
    return exitDone;
}

}  // namespace

int RunSimulator(int argc, char** argv)
{
    LogClient::Instance().ProcessName("SubtitleMgrSim");
    try {
        Options options;
        int status = exitDone;
        return ParseOptions(argc, argv, options, status) ? Serve(options) : status;
    } catch (const std::exception& error) {
        return CannotStart(error.what());
    }
}

}  // namespace sim
