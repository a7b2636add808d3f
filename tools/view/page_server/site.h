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

    /// \param more  members of the object that describes what is shown, each after a comma
    Site(const Options& options, const std::string& source, const std::string& more);

    static HttpAnswer NotFound();

private:
    virtual HttpAnswer AnswerData(const HttpRequest& request) const = 0;

    std::string about;
};

/// Both refer to what they show.
std::unique_ptr<Site> SiteOfRecording(const Options& options, const RecordingIndex& index);
std::unique_ptr<Site> SiteOfLive(const Options& options, LiveState& state);

}  // namespace view
