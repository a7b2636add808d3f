#pragma once

#include "platform/src/log_sink.h"
#include "platform/src/messaging_directory.h"
#include "platform/src/notification_queue.h"
#include "platform/src/subscription_table.h"

#include <condition_variable>
#include <mutex>
#include <string>

namespace platform {

using Lock = std::unique_lock<std::mutex>;

/// Runs an action at the end of a block, also after an exception.
template <typename Action>
class AtEnd {
public:
    explicit AtEnd(Action atEnd) : action(atEnd) {}
    ~AtEnd() { action(); }
    AtEnd(const AtEnd&) = delete;
    AtEnd& operator=(const AtEnd&) = delete;

private:
    Action action;
};

/// Gives the lock up for a system call, a callback or a log entry.
inline auto Unlocked(Lock& lock)
{
    lock.unlock();
    return AtEnd([&lock] { lock.lock(); });
}

/// See LogFromLibrary().
inline void LogUnlocked(Lock& lock, const std::string& text, const char* kind = nullptr)
{
    const auto unlocked = Unlocked(lock);
    LogFromLibrary(text, kind);
}

/// Shared by all calls on one endpoint. The mutex guards everything but the directory, which may be
/// used without it once it is open. No call holds it in a system call that waits or a callback.
struct EndpointState {
    /// Waits until something changed or \p deadline passed. \return false when it has passed
    bool WaitForChange(Lock& lock, const Deadline& deadline)
    {
        if (deadline.IsLimited()) {
            return changed.wait_until(lock, deadline.At()) == std::cv_status::no_timeout;
        }
        changed.wait(lock);
        return true;
    }

    /// A role of one call at a time: reading, sending or connecting. Its end wakes the others.
    auto Take(bool& role)
    {
        role = true;
        return AtEnd([this, &role] {
            role = false;
            changed.notify_all();
        });
    }

    std::mutex mutex;
    /// Notified when a reply or a notification came, a role became free, a connection was lost, or
    /// the endpoint was closed.
    std::condition_variable changed;
    bool closed = false;

    MessagingDirectory directory;
    std::string publisher;  ///< the one service that notifications are subscribed from
    SubscriptionTable subscriptions;
    NotificationQueue notifications;
    unsigned int lastCorrelation = 0;  ///< of a request to any service
};

}  // namespace platform
