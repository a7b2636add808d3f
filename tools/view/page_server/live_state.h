#pragma once

#include "recording/lines.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace view {

/// What a source published, as Server-Sent Events for any number of readers on threads of their
/// own.
///
/// A reader gets each notification while it keeps up, otherwise the newest of each region and kind.
/// So memory does not grow with the messages, nor with slow readers.
class LiveState {
public:
    using Event = std::shared_ptr<const std::string>;
    class Reader;

    void Publish(const recording::Notification& notification);
    void SetConnected(bool isConnectedNow);

    /// Ends all waits.
    void Close();

    /// A reader that begins with the state.
    Reader Begin();

    /// Waits for the next event, or for \p patience and returns a comment. \return null at the end
    Event Next(Reader& reader, std::chrono::milliseconds patience);

private:
    Event NextNotification(Reader& reader) const;

    std::mutex mutex;
    std::condition_variable changed;
    std::uint64_t count = 0;                ///< of notifications; each has a number from 0
    std::map<std::uint64_t, Event> newest;  ///< of each region and kind, by number
    std::map<std::pair<unsigned int, int>, std::uint64_t> numbers;  ///< of those
    std::deque<Event> recent;                                       ///< the last ones of all
    std::size_t recentSize = 0;
    bool isConnected = false;
    bool isClosed = false;
};

class LiveState::Reader {
private:
    friend class LiveState;
    std::uint64_t next = 0;
    std::uint64_t newestOnlyUntil = 0;
    std::optional<bool> isConnected;  ///< that was read
};

}  // namespace view
