#include "view/page_server/live_state.h"
#include "view/page_server/site.h"

namespace view {

namespace {

constexpr std::chrono::seconds longestSilence{5};

class Events : public HttpStream {
public:
    explicit Events(LiveState& stateToRead) : state(stateToRead), reader(state.Begin()) {}

    ssize_t Read(char* room, std::size_t size, std::uint64_t) override
    {
        if (!event || sent == event->size()) {
            event = state.Next(reader, longestSilence);
            sent = 0;
        }
        if (!event) {
            return 0;
        }
        const std::size_t count = event->copy(room, size, sent);
        sent += count;
        return static_cast<ssize_t>(count);
    }

private:
    LiveState& state;
    LiveState::Reader reader;
    LiveState::Event event;
    std::size_t sent = 0;  ///< bytes of it
};

class LiveSite : public Site {
public:
    LiveSite(const Options& options, LiveState& stateToShow)
        : Site(options, options.live ? options.service : options.input, ""), state(stateToShow)
    {
    }

private:
    HttpAnswer AnswerData(const HttpRequest& request) const override
    {
        return request.path == "/events"
                   ? HttpAnswer{200, "text/event-stream", std::make_unique<Events>(state)}
                   : NotFound();
    }

    LiveState& state;
};

}  // namespace

std::unique_ptr<Site> SiteOfLive(const Options& options, LiveState& state)
{
    return std::make_unique<LiveSite>(options, state);
}

}  // namespace view
