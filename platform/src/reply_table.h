#pragma once

#include "platform/src/input_blocks.h"

#include <IpcMessage.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <optional>

namespace platform {

/// The replies that calls on one link wait for, by correlation. Not synchronised.
class ReplyTable {
public:
    struct Waiter {
        unsigned int replyId;
        std::optional<int> result;  ///< 0, or EPROTO for a wrong reply; empty before the reply
        ReceivedFrame reply;
    };

    /// Correlation of requests whose replies no call waits for.
    static constexpr unsigned int unawaited = 0;

    /// Begins to wait for a reply numbered \p replyId.
    void Expect(unsigned int correlation, unsigned int replyId)
    {
        waiters[correlation] = {replyId, {}, {}};
    }

    /// Ends the waiting.
    void Forget(unsigned int correlation) { waiters.erase(correlation); }

    const Waiter& At(unsigned int correlation) const { return waiters.at(correlation); }

    /// Keeps \p frame for the call that waits for it.
    /// \return whether that is the reply it wants: neither late, repeated, wrong nor malformed
    bool Take(const ReceivedFrame& frame)
    {
        const FrameHeader& header = frame.header;
        const auto waiter = waiters.find(header.correlation);
        if (waiter == waiters.end() || waiter->second.result) {
            return false;
        }
        const unsigned int replyId = waiter->second.replyId;
        const bool isRight =
            header.messageId == replyId && IsWellFormed(replyId, frame.payload, header.length);
        waiter->second = {replyId, isRight ? 0 : EPROTO, frame};
        return isRight;
    }

    /// Whether any call still waits.
    bool AreAwaited() const
    {
        return std::any_of(waiters.begin(), waiters.end(),
                           [](const auto& entry) { return !entry.second.result; });
    }

private:
    std::map<unsigned int, Waiter> waiters;
};

/// Makes \p message a copy of a received one. \return 0 or ENOMEM
inline int CopyFrame(const ReceivedFrame& frame, IpcMessage& message)
{
    return message.Allocate(frame.header.messageId, frame.header.length,
                            reinterpret_cast<char*>(frame.payload));
}

}  // namespace platform
