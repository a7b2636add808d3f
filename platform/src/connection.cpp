#include "platform/src/connection.h"

#include <IpcMessage.h>

#include <algorithm>

using namespace platform;

int Connection::Send(Lock& lock, Link& used, IpcMessage& message, FrameKind kind,
                     unsigned int correlation, const Deadline& deadline)
{
    unsigned char* const frame = message.frame.get();
    EncodeFrameHeader({kind, message.messageId, correlation, message.payloadLength}, frame);
    return used.sender.Send(lock, frame, frameHeaderSize + message.payloadLength, deadline);
}

/// Only a send that fails shows that the service was restarted. The service has received nothing of
/// the message then, so \p attempt is made once more on a new link.
template <typename Attempt>
int Connection::OnLink(Lock& lock, const Deadline& deadline, const Attempt& attempt)
{
    for (bool isFirst = true;; isFirst = false) {
        std::shared_ptr<Link> used;
        int error = reconnect.Open(lock, deadline, used);
        if (error == 0) {
            error = attempt(*used);
        }
        if (!Sender::IsLoss(error) || !isFirst) {
            return error;
        }
    }
}

int Connection::Request(Lock& lock, IpcMessage& request, unsigned int replyId,
                        const Deadline& deadline, IpcMessage* reply, const Subscription* wanted)
{
    int result = 0;
    const int error = OnLink(lock, deadline, [&](Link& used) {
        const unsigned int correlation = std::max(state.lastCorrelation + 1, 1u);
        state.lastCorrelation = correlation;
        // Also after an exception, only what the service has accepted stays.
        const AtEnd forget([&] {
            used.replies.Forget(correlation);
            state.subscriptions.Forget(correlation);
        });
        used.replies.Expect(correlation, replyId);
        if (wanted) {
            state.subscriptions.Add(*wanted, correlation);
        }
        const int problem = Send(lock, used, request, FrameKind::Request, correlation, deadline);
        result = problem == 0 ? AwaitReply(lock, used, correlation, deadline, reply) : 0;
        return problem;
    });
    return error == EAGAIN ? ETIMEDOUT : error != 0 ? error : result;
}

int Connection::Notify(Lock& lock, IpcMessage& message, const Deadline& deadline)
{
    return OnLink(lock, Deadline(Reconnect::connectLimitMs), [&](Link& used) {
        return Send(lock, used, message, FrameKind::OneWay, 0, deadline);
    });
}

int Connection::AwaitReply(Lock& lock, Link& used, unsigned int correlation,
                           const Deadline& deadline, IpcMessage* reply)
{
    for (bool hasLooked = false;; hasLooked = true) {
        if (state.closed) {
            return ESHUTDOWN;
        }
        const ReplyTable::Waiter& waiter = used.replies.At(correlation);
        if (waiter.result) {
            return *waiter.result == 0 && reply ? CopyFrame(waiter.reply, *reply) : *waiter.result;
        }
        if (!used.isOpen) {
            return ECONNRESET;
        }
        if (hasLooked && deadline.HasPassed()) {
            return ETIMEDOUT;
        }
        used.reader.ReadOrWait(lock, deadline);
    }
}

void Connection::AwaitArrival(Lock& lock, const Deadline& deadline)
{
    // Reads also without a subscription: the service may have accepted one whose call timed out,
    // and would wait for a client that does not read.
    if (const std::shared_ptr<Link> used = reconnect.Current()) {
        used->reader.ReadOrWait(lock, deadline);
    } else {
        reconnect.OpenNowAndThen(lock, deadline);
    }
}
