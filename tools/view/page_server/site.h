#pragma once

#include "view/options.h"
#include "view/page_server/http_server.h"

namespace view {

class LiveState;
class RecordingIndex;

/// What the page asks for. May be called on several threads at a time.
class Site {
public:
    virtual ~Site() = default;
    HttpAnswer Answer(const HttpRequest& request) const;

protected:
    static constexpr char jsonType[] = "application/json";

    static HttpAnswer NotFound();

    /// The object that describes what is shown, without its end.
    static std::string AboutStart(const Options& options, const std::string& source);

private:
    virtual HttpAnswer AnswerData(const HttpRequest& request) const = 0;
};

/// Both refer to what they show.
std::unique_ptr<Site> SiteOfRecording(const Options& options, const RecordingIndex& index);
std::unique_ptr<Site> SiteOfLive(const Options& options, LiveState& state);

}  // namespace view
