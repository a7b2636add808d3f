#include "view/page_server/recording_index.h"

#include "view/messages.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace view {

RecordingIndex::RecordingIndex(const std::string& path)
{
    Messages messages(path, std::nullopt);
    if (lseek(messages.Descriptor(), 0, SEEK_CUR) < 0 && errno == ESPIPE) {
        mistake = path + ": is no file; use - for standard input";
        return;
    }
    while (const recording::Notification* const found = messages.Next()) {
        changes[{found->regionId, static_cast<int>(found->kind)}].push_back(places.size());
        times.push_back(messages.SinceFirstUs(found->at));
        places.push_back({messages.Offset(), messages.EndOffset() - messages.Offset()});
    }
    mistake = messages.Mistake();
    file = platform::Descriptor(fcntl(messages.Descriptor(), F_DUPFD_CLOEXEC, 0));
}

std::vector<RecordingIndex::Place> RecordingIndex::StateAfter(std::size_t count) const
{
    std::vector<std::size_t> numbers;
    for (const auto& change : changes) {
        const auto end = std::lower_bound(change.second.begin(), change.second.end(), count);
        if (end != change.second.begin()) {
            numbers.push_back(*std::prev(end));
        }
    }
    std::sort(numbers.begin(), numbers.end());
    std::vector<Place> state;
    state.reserve(numbers.size());
    for (const std::size_t number : numbers) {
        state.push_back(places[number]);
    }
    return state;
}

}  // namespace view
