#pragma once

#include "platform/src/descriptor.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace view {

/// Where the notifications of a recording stand in its file; their bytes stay there.
///
/// May be read on several threads at a time.
class RecordingIndex {
public:
    /// The bytes of a notification's line, with its newline.
    struct Place {
        std::uint64_t offset;
        std::uint64_t size;
    };

    /// Reads a whole recording.
    explicit RecordingIndex(const std::string& path);

    /// Of a recording that is not whole: the lines before it are there. Empty for none.
    const std::string& Mistake() const { return mistake; }

    std::size_t Count() const { return places.size(); }
    const Place& At(std::size_t number) const { return places[number]; }

    /// By number, in microseconds from the first message.
    const std::vector<std::int64_t>& Times() const { return times; }

    /// The last notification of each region and kind among the first \p count, in order.
    std::vector<Place> StateAfter(std::size_t count) const;

    int Descriptor() const { return file.Get(); }

private:
    std::vector<Place> places;
    std::vector<std::int64_t> times;
    std::map<std::pair<unsigned int, int>, std::vector<std::size_t>> changes;  ///< numbers
    std::string mistake;
    platform::Descriptor file;
};

}  // namespace view
