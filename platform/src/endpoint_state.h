#pragma once

#include "platform/src/messaging_directory.h"
#include "platform/src/notification_queue.h"
#include "platform/src/subscription_table.h"

#include <condition_variable>
#include <mutex>
#include <string>

namespace platform {

/// What all calls on one endpoint share. Everything but the directory, which does not change once
/// it is open, is guarded by the mutex; nobody holds that in a system call that can wait, or in a
/// callback.
struct EndpointState {
    using Lock = std::unique_lock<std::mutex>;

    /// Waits until something changed or \p deadline passed. \return false when it has passed
    bool WaitForChange(Lock& lock, const Deadline& deadline);

    std::mutex mutex;
    /// Something that a call may wait for happened: a reply or a notification came, a connection
    /// can be read or written by another one, the endpoint was closed.
    std::condition_variable changed;
    bool closed = false;

    MessagingDirectory directory;
    std::string publisher;  ///< the one service that notifications are subscribed from
    SubscriptionTable subscriptions;
    NotificationQueue notifications;
};

}  // namespace platform
