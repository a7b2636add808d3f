#include "recording/json_text.h"
#include "view/page_server/recording_index.h"
#include "view/page_server/site.h"

#include <algorithm>
#include <unistd.h>

namespace view {

namespace {

using Place = RecordingIndex::Place;

constexpr std::uint64_t largestCount = 256;

/// Of several messages; browsers have no texts of a GiB.
constexpr std::uint64_t largestAnswer = 4u * 1024u * 1024u;

/// Lines of the recording, read from its file while they are sent.
class Lines : public HttpStream {
public:
    Lines(std::vector<Place> placesToRead, int fileToRead)
        : places(std::move(placesToRead)), file(fileToRead),
          rest(places.empty() ? 0 : places[0].size)
    {
    }

    std::uint64_t Size() const override
    {
        std::uint64_t size = 0;
        for (const Place& place : places) {
            size += place.size;
        }
        return size;
    }

    ssize_t Read(char* room, std::size_t size, std::uint64_t) override
    {
        while (rest == 0) {
            rest = places[++index].size;
        }
        const Place& place = places[index];
        const auto offset = static_cast<off_t>(place.offset + place.size - rest);
        const ssize_t count = pread(file, room, std::min<std::uint64_t>(size, rest), offset);
        rest -= static_cast<std::uint64_t>(std::max<ssize_t>(count, 0));
        return count > 0 ? count : -1;
    }

private:
    const std::vector<Place> places;
    const int file;
    std::size_t index = 0;
    std::uint64_t rest;  ///< of the place at `index`
};

/// What describes a recording alone.
std::string AboutOf(const RecordingIndex& index)
{
    const std::vector<std::int64_t>& times = index.Times();
    std::string about = ",\"messages\":" + std::to_string(times.size());
    about += ",\"durationUs\":" + std::to_string(times.empty() ? 0 : times.back());
    if (!index.Mistake().empty()) {
        about += ",\"mistake\":";
        recording::AppendQuoted(about, index.Mistake());
    }
    return about;
}

class RecordingSite : public Site {
public:
    RecordingSite(const Options& options, const RecordingIndex& indexToShow)
        : Site(options, options.input.substr(options.input.rfind('/') + 1), AboutOf(indexToShow)),
          index(indexToShow)
    {
        for (const std::int64_t time : index.Times()) {
            times += times.empty() ? '[' : ',';
            recording::AppendNumber(times, time);
        }
        times += times.empty() ? "[]" : "]";
    }

private:
    HttpAnswer AnswerData(const HttpRequest& request) const override
    {
        if (request.path == "/times") {
            return {200, jsonType, std::string_view(times)};
        }
        if (request.path == "/state") {
            return State(request);
        }
        return request.path == "/messages" ? Messages(request) : NotFound();
    }

    HttpAnswer State(const HttpRequest& request) const
    {
        std::uint64_t before = 0;
        return request.GetNumber("before", index.Count(), before)
                   ? AnswerOf(index.StateAfter(before))
                   : Refusal(400, "before is no number of messages\n");
    }

    HttpAnswer Messages(const HttpRequest& request) const
    {
        std::uint64_t from = 0;
        std::uint64_t count = 0;
        if (!request.GetNumber("from", index.Count(), from) ||
            !request.GetNumber("count", largestCount, count)) {
            return Refusal(400, "from is no number of a message, or count is above 256\n");
        }
        const std::uint64_t end = std::min<std::uint64_t>(from + count, index.Count());
        std::vector<Place> places;
        std::uint64_t size = 0;
        for (std::uint64_t number = from; number < end; ++number) {
            size += index.At(number).size;
            if (size > largestAnswer && number > from) {
                break;
            }
            places.push_back(index.At(number));
        }
        return AnswerOf(std::move(places));
    }

    HttpAnswer AnswerOf(std::vector<Place> places) const
    {
        return {200, "application/x-ndjson",
                std::make_unique<Lines>(std::move(places), index.Descriptor())};
    }

    const RecordingIndex& index;
    std::string times;
};

}  // namespace

std::unique_ptr<Site> SiteOfRecording(const Options& options, const RecordingIndex& index)
{
    return std::make_unique<RecordingSite>(options, index);
}

}  // namespace view
