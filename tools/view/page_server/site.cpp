#include "view/page_server/site.h"

#include "recording/json_text.h"
#include "view/page_server/page_files.h"

namespace view {

Site::Site(const Options& options, const std::string& source, const std::string& more)
    : about("{\"program\":\"SubtitleMgrView " SUBTITLE_VERSION "\",\"source\":")
{
    recording::AppendQuoted(about, source);
    about += options.live || options.input == "-" ? ",\"live\":true" : ",\"live\":false";
    about += ",\"width\":" + std::to_string(options.width) + more + "}\n";
}

HttpAnswer Site::Answer(const HttpRequest& request) const
{
    if (const PageFile* const file = FindPageFile(request.path)) {
        const auto* const text = reinterpret_cast<const char*>(file->bytes);
        return {200, file->type, std::string_view(text, file->size)};
    }
    return request.path == "/about" ? HttpAnswer{200, jsonType, std::string_view(about)}
                                    : AnswerData(request);
}

HttpAnswer Site::NotFound() { return Refusal(404, "nothing is at this path\n"); }

}  // namespace view
