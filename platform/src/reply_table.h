#pragma once

#include "platform/src/input_blocks.h"

#include <vector>

class IpcMessage;

namespace platform {

/// The replies that calls on one connection wait for, by correlation. Not synchronised.
class ReplyTable {
public:
    /// Correlation of requests whose replies nobody waits for; no call gets it.
    static constexpr unsigned int nobody = 0;

    /// Begins to wait for a reply numbered \p replyId.
    /// \param reply  receives a copy of it; may be null
    /// \return the correlation of the request
    unsigned int Expect(unsigned int replyId, IpcMessage* reply);

    /// Gives \p frame to the call that waits for it. One that comes too late, or twice, is ignored.
    void Take(const ReceivedFrame& frame);

    /// Everyone who still waits fails with \p error.
    void FailAll(int error);

    /// Whether any call still waits.
    bool AreAwaited() const;

    bool IsSettled(unsigned int correlation);

    /// Ends the waiting.
    /// \return \p error, or when that is 0 what came: 0 for the right reply, EPROTO for a wrong or
    ///         malformed one, ENOMEM
    int Settle(unsigned int correlation, int error);

private:
    struct Waiter {
        unsigned int correlation;
        unsigned int replyId;
        IpcMessage* reply;
        bool isSettled;
        int result;
    };

    std::vector<Waiter>::iterator Find(unsigned int correlation);

    std::vector<Waiter> waiters;
    unsigned int lastCorrelation = nobody;
};

/// Makes \p message a copy of a received one. \return 0 or ENOMEM
int CopyFrame(const ReceivedFrame& frame, IpcMessage& message);

}  // namespace platform
