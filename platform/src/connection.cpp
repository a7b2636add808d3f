#include "platform/src/connection.h"

#include <IpcMessage.h>

#include <algorithm>

namespace platform {

int Connection::Send(Lock& lock, Link& link, IpcMessage& message, FrameKind kind,
                     unsigned int correlation, const Deadline& deadline)
{
    unsigned char* const frame = message.frame.get();
    EncodeFrameHeader({kind, message.messageId, correlation, message.payloadLength}, frame);
    return link.sender.Send(lock, frame, frameHeaderSize + message.payloadLength, deadline);
}

// A service that was restarted is only noticed by a send that fails: nothing of the message was
// taken then, so both send it once more on a new connection.

int Connection::Request(Lock& lock, IpcMessage& request, unsigned int replyId,
                        const Deadline& deadline, IpcMessage* reply, const Subscription* wanted)
{
    for (bool isFirst = true;; isFirst = false) {
        std::shared_ptr<Link> link;
        int error = reconnect.Open(lock, deadline, link);
        if (error != 0) {
            return error;
        }
        const unsigned int correlation = std::max(state.lastCorrelation + 1, 1u);
        state.lastCorrelation = correlation;
        // However this ends, nothing of it stays but what the service has accepted.
        const AtEnd forget([&] {
            replies.Forget(correlation);
            state.subscriptions.Forget(correlation);
        });
        replies.Expect(correlation, replyId);
        if (wanted) {
            state.subscriptions.Add(*wanted, correlation);
        }
        error = Send(lock, *link, request, FrameKind::Request, correlation, deadline);
        if (error == 0) {
            return AwaitReply(lock, *link, correlation, deadline, reply);
        }
        if (!Sender::IsLoss(error) || !isFirst) {
            return error == EAGAIN ? ETIMEDOUT : error;
        }
    }
}

int Connection::Notify(Lock& lock, IpcMessage& message, const Deadline& deadline)
{
    for (bool isFirst = true;; isFirst = false) {
        std::shared_ptr<Link> link;
        int error = reconnect.Open(lock, Deadline(connectLimitMs), link);
        if (error == 0) {
            error = Send(lock, *link, message, FrameKind::OneWay, 0, deadline);
        }
        if (!Sender::IsLoss(error) || !isFirst) {
            return error;
        }
    }
}

int Connection::AwaitReply(Lock& lock, Link& link, unsigned int correlation,
                           const Deadline& deadline, IpcMessage* reply)
{
    for (bool hasLooked = false;; hasLooked = true) {
        if (state.closed) {
            return ESHUTDOWN;
        }
        const ReplyTable::Waiter& waiter = replies.At(correlation);
        if (waiter.result) {
            return *waiter.result == 0 && reply ? CopyFrame(waiter.reply, *reply) : *waiter.result;
        }
        if (hasLooked && deadline.HasPassed()) {
            return ETIMEDOUT;
        }
        link.reader.ReadOrWait(lock, deadline);
    }
}

void Connection::AwaitArrival(Lock& lock, const Deadline& deadline)
{
    std::shared_ptr<Link> link = reconnect.Current();
    if (link) {
        // Also with nothing subscribed: the service may have accepted what was given up waiting
        // for, and a client that does not read makes it wait.
        link->reader.ReadOrWait(lock, deadline);
    } else if (!state.subscriptions.HasAccepted()) {
        state.WaitForChange(lock, deadline);
    } else if (reconnect.NextAttempt().HasPassed()) {
        reconnect.Open(lock, deadline, link);
    } else {
        state.WaitForChange(lock, deadline.Sooner(reconnect.NextAttempt()));
    }
}

}  // namespace platform
