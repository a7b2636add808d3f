// The command page.

#include "tap/signals.h"
#include "view/messages.h"
#include "view/page_server/live_service.h"
#include "view/page_server/live_state.h"
#include "view/page_server/recording_index.h"
#include "view/page_server/site.h"
#include "view/view.h"
#include "words/exit_status.h"

#include <csignal>
#include <iostream>
#include <unistd.h>

namespace view {

namespace {

/// While one exists, threads start that leave all signals to the others.
class SignalsBlocked {
public:
    SignalsBlocked()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before;
};

std::unique_ptr<HttpServer> StartServer(const Options& options, const Site& site)
{
    const SignalsBlocked blocked;
    auto server = std::make_unique<HttpServer>(
        options.port, [&site](const HttpRequest& request) { return site.Answer(request); });
    std::string problem = server->Problem();
    if (problem.empty()) {
        std::cout << "http://127.0.0.1:" << server->Port() << "/" << std::endl;
        problem = std::cout.good() ? "" : noOutput;
    }
    if (!problem.empty()) {
        Say(problem);
        return nullptr;
    }
    return server;
}

std::string Start(LiveService& service)
{
    const SignalsBlocked blocked;
    return service.Start();
}

void WaitForEnd()
{
    while (!tap::IsEndRequested()) {
        pause();
    }
}

int ShowRecording(const Options& options)
{
    const RecordingIndex index(options.input);
    if (!index.Mistake().empty()) {
        Say(index.Mistake());
        if (index.Count() == 0) {
            return words::exitUnusable;
        }
    }
    const std::unique_ptr<Site> site = SiteOfRecording(options, index);
    const std::unique_ptr<HttpServer> server = StartServer(options, *site);
    if (!server) {
        return words::exitFailed;
    }
    WaitForEnd();
    return words::exitDone;
}

int ShowInput(const Options& options)
{
    LiveState state;
    const std::unique_ptr<Site> site = SiteOfLive(options, state);
    state.SetConnected(true);
    const std::unique_ptr<HttpServer> server = StartServer(options, *site);
    if (!server) {
        return words::exitFailed;
    }
    Messages messages(options.input, std::nullopt);
    while (const recording::Notification* const found = messages.Next()) {
        state.Publish(*found);
    }
    if (!messages.Mistake().empty()) {
        Say(messages.Mistake());
    }
    state.SetConnected(false);
    WaitForEnd();
    state.Close();
    return words::exitDone;
}

int ShowService(const Options& options)
{
    LiveState state;
    LiveService service(options.service, state);
    const std::string problem = Start(service);
    if (tap::IsEndRequested()) {
        return words::exitDone;
    }
    if (!problem.empty()) {
        return Fail(words::exitNoService, problem);
    }
    const std::unique_ptr<Site> site = SiteOfLive(options, state);
    const std::unique_ptr<HttpServer> server = StartServer(options, *site);
    if (!server) {
        return words::exitFailed;
    }
    WaitForEnd();
    state.Close();
    return words::exitDone;
}

}  // namespace

int ShowPage(const Options& options)
{
    tap::CatchSignals();
    if (options.live) {
        return ShowService(options);
    }
    return options.input == "-" ? ShowInput(options) : ShowRecording(options);
}

}  // namespace view
