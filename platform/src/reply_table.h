#pragma once

#include "platform/src/input_blocks.h"

#include <map>
#include <optional>

class IpcMessage;

namespace platform {

/// The replies that calls on one link wait for, by the correlation of their requests. Not
/// synchronised.
class ReplyTable {
public:
    struct Waiter {
        unsigned int replyId;
        std::optional<int> result;  ///< none yet; 0, EPROTO for a wrong reply, another error
        ReceivedFrame reply;
    };

    /// Correlation of requests whose replies no call waits for.
    static constexpr unsigned int unawaited = 0;

    /// Begins to wait for a reply numbered \p replyId.
    void Expect(unsigned int correlation, unsigned int replyId)
    {
        waiters[correlation] = {replyId, {}, {}};
    }

    /// Keeps \p frame for the call that waits for it.
    /// \return whether that is the reply it wants: neither late, repeated, wrong nor malformed
    bool Take(const ReceivedFrame& frame);

    /// Every call that still waits fails with \p error.
    void FailAll(int error);

    /// Whether any call still waits.
    bool AreAwaited() const;

    const Waiter& At(unsigned int correlation) const { return waiters.at(correlation); }

    /// Ends the waiting.
    void Forget(unsigned int correlation) { waiters.erase(correlation); }

private:
    std::map<unsigned int, Waiter> waiters;
};

/// Makes \p message a copy of a received one. \return 0 or ENOMEM
int CopyFrame(const ReceivedFrame& frame, IpcMessage& message);

}  // namespace platform
