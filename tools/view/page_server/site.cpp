#include "view/page_server/site.h"

#include "recording/json_text.h"
#include "view/page_server/page_files.h"

namespace view {

HttpAnswer Site::Answer(const HttpRequest& request) const
{
    if (const PageFile* const file = FindPageFile(request.path)) {
        const auto* const text = reinterpret_cast<const char*>(file->bytes);
        return {200, file->type, std::string_view(text, file->size)};
    }
    return AnswerData(request);
}

HttpAnswer Site::NotFound() { return Refusal(404, "nothing is at this path\n"); }

std::string Site::AboutStart(const Options& options, const std::string& source)
{
    std::string text = "{\"program\":\"SubtitleMgrView " SUBTITLE_VERSION "\",\"source\":";
    recording::AppendQuoted(text, source);
    text += options.live || options.input == "-" ? ",\"live\":true" : ",\"live\":false";
    return text + ",\"width\":" + std::to_string(options.width);
}

}  // namespace view
