#pragma once

#include "simulator/service/notification.h"

#include "platform/src/bounded_queue.h"
#include "platform/src/deadline.h"

#include <cstddef>
#include <cstdint>
#include <sys/uio.h>
#include <vector>

namespace sim {

/// What is to be sent to one peer, in order: replies, which are never lost, and notifications, of
/// which the oldest are dropped when the peer does not read.
class Backlog {
public:
    using Clock = platform::Deadline::Clock;
    static constexpr std::size_t maxReplySize = 24;

    /// Whether \p frames notifications of \p bytes together can be added without any loss.
    bool HasRoomFor(std::size_t frames, std::size_t bytes) const
    {
        return notifications.HasRoomFor(frames, bytes);
    }

    /// Adds a notification, which is kept with any size; drops older ones to make room.
    /// \return how many were dropped
    unsigned int AddNotification(const SharedFrame& frame, Clock::time_point now = Clock::now());

    /// Adds a reply of at most maxReplySize bytes, which are copied.
    /// \return the copy, which may be changed until anything is sent
    unsigned char* AddReply(const unsigned char* bytes, std::size_t length);

    /// Lists what is to be sent next.
    /// \return the number of pieces used, at most \p most; \p total becomes their bytes
    unsigned int Gather(iovec* pieces, unsigned int most, std::size_t& total) const;

    /// Removes the first \p bytes of what Gather() listed: they have been sent.
    void Sent(std::size_t bytes);

    void Clear();

    bool IsEmpty() const { return Frames() == 0; }
    std::size_t Replies() const { return replies.size(); }
    std::size_t Notifications() const { return notifications.Size(); }

    /// When the oldest notification was added; there must be one.
    Clock::time_point OldestSince() const { return notifications.At(0).since; }

    /// Bytes of the notifications, headers included; a partly sent one counts in full.
    std::size_t NotificationBytes() const { return notifications.Bytes(); }

private:
    /// Of the fronts of both queues, the one with the lower `sequence` is sent first. With two
    /// queues the oldest notification can be dropped while replies before and after it stay.
    struct Reply {
        std::uint64_t sequence = 0;
        std::size_t length = 0;
        unsigned char bytes[maxReplySize] = {};
    };
    struct Notification {
        std::uint64_t sequence = 0;
        SharedFrame frame;
        Clock::time_point since;

        friend std::size_t SizeOf(const Notification& notification)
        {
            return notification.frame->size();
        }
    };

    /// Whether a notification follows the first \p reply replies and \p notification notifications.
    bool NotificationFollows(std::size_t reply, std::size_t notification) const;

    std::size_t Frames() const { return replies.size() + notifications.Size(); }

    std::vector<Reply> replies;
    platform::BoundedQueue<Notification> notifications;
    std::size_t sentOfFirst = 0;  ///< bytes of the first frame that were already sent
    std::uint64_t nextSequence = 0;
};

}  // namespace sim
