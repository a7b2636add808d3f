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
#include <optional>
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

/// Serves a page. \param follow  does the rest, until the page ends
template <typename Follow>
int Serve(const Options& options, const Site& site, Follow follow)
{
    std::optional<HttpServer> server;
    {
        const SignalsBlocked blocked;
        server.emplace(options.port,
                       [&site](const HttpRequest& request) { return site.Answer(request); });
    }
    if (!server->Problem().empty()) {
        return Fail(words::exitFailed, server->Problem());
    }
    std::cout << "http://127.0.0.1:" << server->Port() << "/" << std::endl;
    if (!std::cout.good()) {
        return Fail(words::exitFailed, noOutput);
    }
    follow();
    return words::exitDone;
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
    return Serve(options, *SiteOfRecording(options, index), WaitForEnd);
}

int ShowInput(const Options& options)
{
    LiveState state;
    state.SetConnected(true);
    return Serve(options, *SiteOfLive(options, state), [&] {
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
    });
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
    return Serve(options, *SiteOfLive(options, state), [&] {
        WaitForEnd();
        state.Close();
    });
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
