#include "view/page_server/live_state.h"

#include "recording/writer.h"

namespace view {

namespace {

constexpr std::size_t mostRecent = 256;
constexpr std::size_t largestRecentSize = 1024u * 1024u;

LiveState::Event EventOf(std::string text)
{
    return std::make_shared<const std::string>(std::move(text));
}

}  // namespace

void LiveState::Publish(const recording::Notification& notification)
{
    std::string text = "data: ";
    recording::AppendLine(text, notification);
    const Event event = EventOf(text + "\n");
    const std::lock_guard<std::mutex> lock(mutex);
    const auto [number, isNew] =
        numbers.try_emplace({notification.regionId, static_cast<int>(notification.kind)}, count);
    if (!isNew) {
        newest.erase(number->second);
        number->second = count;
    }
    newest.emplace(count, event);
    recent.push_back(event);
    recentSize += event->size();
    while (recent.size() > mostRecent || (recentSize > largestRecentSize && recent.size() > 1)) {
        recentSize -= recent.front()->size();
        recent.pop_front();
    }
    ++count;
    changed.notify_all();
}

void LiveState::SetConnected(bool isConnectedNow)
{
    const std::lock_guard<std::mutex> lock(mutex);
    isConnected = isConnectedNow;
    changed.notify_all();
}

void LiveState::Close()
{
    const std::lock_guard<std::mutex> lock(mutex);
    isClosed = true;
    changed.notify_all();
}

LiveState::Reader LiveState::Begin()
{
    const std::lock_guard<std::mutex> lock(mutex);
    Reader reader;
    reader.newestOnlyUntil = count;
    return reader;
}

LiveState::Event LiveState::Next(Reader& reader, std::chrono::milliseconds patience)
{
    std::unique_lock<std::mutex> lock(mutex);
    const auto hasNews = [&] {
        return isClosed || reader.isConnected != isConnected || reader.next < count;
    };
    if (!changed.wait_for(lock, patience, hasNews)) {
        return EventOf(":\n\n");
    }
    if (isClosed) {
        return nullptr;
    }
    // A change of the connection comes after the notifications before it.
    if (reader.isConnected && reader.next < count) {
        return NextNotification(reader);
    }
    reader.isConnected = isConnected;
    return EventOf(std::string("event: connection\n") +
                   "data: {\"connected\":" + (isConnected ? "true" : "false") + "}\n\n");
}

LiveState::Event LiveState::NextNotification(Reader& reader) const
{
    const std::uint64_t oldest = count - recent.size();
    for (;;) {
        if (reader.next >= reader.newestOnlyUntil && reader.next < oldest) {
            reader.newestOnlyUntil = count;
        }
        if (reader.next >= reader.newestOnlyUntil) {
            return recent[reader.next++ - oldest];
        }
        const auto found = newest.lower_bound(reader.next);
        if (found->first < reader.newestOnlyUntil) {
            reader.next = found->first + 1;
            return found->second;
        }
        reader.next = reader.newestOnlyUntil;
    }
}

}  // namespace view
