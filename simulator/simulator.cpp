#include "simulator/simulator.h"

#include "simulator/commentary.h"
#include "simulator/journal/logs.h"
#include "simulator/listener.h"
#include "simulator/options.h"
#include "simulator/server.h"

#include "words/exit_status.h"
#include <LogClient.h>

#include <csignal>
#include <exception>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <vector>

using namespace platform;
using namespace sim;
using namespace words;

namespace {

int CannotStart(const char* problem)
{
    Say(problem);
    return exitFailed;
}

void PrepareSignals()
{
    const sigset_t stops = StopSignals();
    sigprocmask(SIG_BLOCK, &stops, nullptr);
    // Writing a line can raise these: no reader, a limit of the file, a job in the background.
    for (const int signal : {SIGPIPE, SIGXFSZ, SIGTTOU}) {
        std::signal(signal, SIG_IGN);
    }
}

/// A descriptor for each peer, and some for the service itself, where the system allows them.
void RaiseDescriptorLimit()
{
    constexpr rlim_t wanted = PeerTable::maxPeers + ControlServer::most + 64;
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < wanted) {
        limit.rlim_cur = limit.rlim_max < wanted ? limit.rlim_max : wanted;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

int RefuseInput(const std::vector<std::string>& mistakes)
{
    for (const std::string& mistake : mistakes) {
        Say(mistake.c_str(), "", "");
    }
    return exitUnusable;
}

/// Opens \p path with \p open and writes every mistake on standard error; loads nothing if it is
/// empty. \return the exit status
template <typename Open>
int Load(Open open, const std::string& path, std::unique_ptr<Source>& source)
{
    if (path.empty()) {
        return exitDone;
    }
    std::vector<std::string> mistakes;
    source = open(path, mistakes);
    return source && IsPlayable(*source, mistakes) ? exitDone : RefuseInput(mistakes);
}

int RunService(const Options& options)
{
    std::string problem;
    std::unique_ptr<Source> played;
    std::unique_ptr<Source> state;
    if (!options.check.empty()) {
        return Load(OpenSource, options.check, played);
    }
    if (Load(OpenSource, options.play, played) != exitDone ||
        Load(OpenRecording, options.state, state) != exitDone) {
        return exitUnusable;
    }
    Logs logs(options.name);
    if (!options.journal.empty() && !logs.journal.Open(options.journal, problem)) {
        return CannotStart(problem.c_str());
    }
    // After the journal: opening a pipe waits for a reader, and a signal may end that wait.
    PrepareSignals();
    RaiseDescriptorLimit();
    Listener listener;
    if (!listener.Open(options.name, problem)) {
        return CannotStart(problem.c_str());
    }
    // After the name is taken: it may be that of a service that records in this file.
    if (!options.record.empty() && !logs.recorder.Start(options.record, problem)) {
        return CannotStart(problem.c_str());
    }
    Server server(listener, options, logs);
    if (!server.Open(problem)) {
        return CannotStart(problem.c_str());
    }
    const std::string mistake = state ? server.Restore(std::move(state)) : "";
    if (!mistake.empty()) {
        return RefuseInput({mistake});
    }
    if (played) {
        server.Play(std::move(played));
    }
    if (!options.quiet) {
        Say("serving ", listener.Path().c_str());
    }
    SayReady(options.journal == "-");
    for (const FaultSpec& fault : options.faults) {
        server.Cause(fault);
    }
    const int status = server.Run();
    logs.journal.Settle();
    logs.recorder.Close();
    SettleOutputs(true);
    return status;
}

}  // namespace

int sim::RunSimulator(int argc, char** argv)
{
    umask(077);  // what it makes is its user's alone
    LogClient::Instance().ProcessName("SubtitleMgrSim");
    try {
        Options options;
        int status = exitDone;
        return ParseOptions(argc, argv, options, status) ? RunService(options) : status;
    } catch (const std::exception& error) {
        return CannotStart(error.what());
    }
}
