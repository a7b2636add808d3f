#pragma once

#include "platform/src/input_blocks.h"

#include <IpcMessage.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <vector>

namespace platform {

/// The replies that calls on one link wait for, by correlation. Not synchronised.
class ReplyTable {
public:
    struct Waiter {
        unsigned int correlation;
        unsigned int replyId;
        std::optional<int> result;  ///< 0, or EPROTO for a wrong reply; empty before the reply
        ReceivedFrame reply;

        bool operator==(unsigned int wanted) const { return correlation == wanted; }
    };

    /// Correlation of requests whose replies no call waits for.
    static constexpr unsigned int unawaited = 0;

    /// Begins to wait for a reply numbered \p replyId.
    void Expect(unsigned int correlation, unsigned int replyId)
    {
        waiters.push_back({correlation, replyId, {}, {}});
    }

    /// Ends the waiting.
    void Forget(unsigned int correlation)
    {
        waiters.erase(std::remove(waiters.begin(), waiters.end(), correlation), waiters.end());
    }

    /// There must be one.
    const Waiter& At(unsigned int correlation) const
    {
        return *std::find(waiters.begin(), waiters.end(), correlation);
    }

    /// Keeps \p frame for the call that waits for it.
    /// \return whether that is the reply it wants: neither late, repeated, wrong nor malformed
    bool Take(const ReceivedFrame& frame)
    {
        const FrameHeader& header = frame.header;
        const auto waiter = std::find(waiters.begin(), waiters.end(), header.correlation);
        if (waiter == waiters.end() || waiter->result) {
            return false;
        }
        const bool isRight = header.messageId == waiter->replyId &&
                             IsWellFormed(header.messageId, frame.payload, header.length);
        waiter->result = isRight ? 0 : EPROTO;
        waiter->reply = frame;
        return isRight;
    }

    /// Whether any call still waits.
    bool AreAwaited() const
    {
        return std::any_of(waiters.begin(), waiters.end(),
                           [](const Waiter& waiter) { return !waiter.result; });
    }

private:
    std::vector<Waiter> waiters;  ///< mostly one
};

/// Makes \p message a copy of a received one. \return 0 or ENOMEM
inline int CopyFrame(const ReceivedFrame& frame, IpcMessage& message)
{
    return message.Allocate(frame.header.messageId, frame.header.length,
                            reinterpret_cast<char*>(frame.payload));
}

}  // namespace platform
