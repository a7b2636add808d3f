#include "simulator/journal/request_history.h"

#include "simulator/journal/request_pattern.h"

#include "recording/crc32.h"

#include <algorithm>

using namespace sim;

void RequestHistory::Start()
{
    if (users == 0) {
        kept.resize(most);
        first = next;
    }
    ++users;
}

void RequestHistory::Stop()
{
    if (--users == 0) {
        kept = {};
    }
}

void RequestHistory::Add(const recording::Request& request)
{
    if (!IsOn()) {
        return;
    }
    recording::Request& place = kept[next++ % most];
    place = request;
    place.data = {nullptr, request.data.size, recording::Crc32(request.data)};
}

std::optional<std::uint64_t> RequestHistory::Find(const RequestPattern& pattern,
                                                  std::uint64_t from) const
{
    const std::uint64_t oldest = std::max(first, next < most ? 0 : next - most);
    for (std::uint64_t number = std::max(from, oldest); IsOn() && number < next; ++number) {
        if (pattern.Matches(kept[number % most])) {
            return number;
        }
    }
    return std::nullopt;
}
