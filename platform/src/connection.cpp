#include "platform/src/connection.h"

#include "platform/src/big_endian.h"

#include <IpcMessage.h>

#include <algorithm>

using namespace platform;

/// Connecting waits for a service that is stopped, so also a request without limit ends then.
constexpr int connectLimitMs = 1000;

constexpr int reconnectIntervalMs = 500;

/// The link, made when there is none. One call at a time tries; others wait for its result.
int Connection::Open(Lock& lock, const Deadline& deadline, std::shared_ptr<Link>& opened)
{
    while (!(opened = Current())) {
        if (state.closed) {
            return ESHUTDOWN;
        }
        if (!connecting) {
            return Connect(lock, deadline.Sooner(Deadline(connectLimitMs)), opened);
        }
        if (!state.WaitForChange(lock, deadline)) {
            return ETIMEDOUT;
        }
    }
    return 0;
}

/// Connects, and renews the subscriptions before any other call can send.
int Connection::Connect(Lock& lock, const Deadline& deadline, std::shared_ptr<Link>& opened)
{
    Descriptor connected;
    int error = 0;
    {
        const auto role = state.Take(connecting);
        nextAttempt = Deadline(reconnectIntervalMs);
        const auto unlocked = Unlocked(lock);
        error = state.directory.Connect(service, deadline, connected);
    }
    if (error != 0) {
        return error;
    }
    // What needs memory comes before the link is in use: one without its subscriptions would be
    // taken for a good one.
    opened = std::make_shared<Link>(state, service, std::move(connected));
    const bool isPublisher = service == state.publisher;
    const auto renewal = isPublisher ? RenewalFrames() : std::vector<unsigned char>();
    link = opened;
    if (!renewal.empty()) {
        error = opened->Send(lock, renewal.data(), renewal.size(), deadline);
    }
    if (error != 0) {
        opened->Lose();
    }
    return error;
}

std::vector<unsigned char> Connection::RenewalFrames() const
{
    constexpr FrameHeader header{FrameKind::Request, messages::subscribe, ReplyTable::unawaited, 8};
    std::vector<unsigned char> frames;
    for (const Subscription& subscription : state.subscriptions.Accepted()) {
        const std::size_t at = frames.size();
        frames.resize(at + frameHeaderSize + header.length);
        unsigned char* const frame = frames.data() + at;
        EncodeFrameHeader(header, frame);
        PutU32(frame + frameHeaderSize, subscription.number);
        PutU32(frame + frameHeaderSize + 4, subscription.itemId);
    }
    return frames;
}

int Connection::Send(Lock& lock, Link& used, IpcMessage& message, FrameKind kind,
                     unsigned int correlation, const Deadline& deadline)
{
    unsigned char* const frame = message.frame.get();
    EncodeFrameHeader({kind, message.messageId, correlation, message.payloadLength}, frame);
    return used.Send(lock, frame, frameHeaderSize + message.payloadLength, deadline);
}

/// A restarted service is only noticed by a send that fails. It has taken nothing of the message
/// then, so \p attempt is made once more on a new link.
template <typename Attempt>
int Connection::OnLink(Lock& lock, const Deadline& deadline, const Attempt& attempt)
{
    for (bool isFirst = true;; isFirst = false) {
        std::shared_ptr<Link> used;
        int error = Open(lock, deadline, used);
        if (error == 0) {
            error = attempt(*used);
        }
        if (!Link::IsLoss(error) || !isFirst) {
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
        // However this ends, nothing of it stays but what the service has accepted.
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
    return OnLink(lock, Deadline(connectLimitMs), [&](Link& used) {
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
        if (!used.IsOpen()) {
            return ECONNRESET;
        }
        if (hasLooked && deadline.HasPassed()) {
            return ETIMEDOUT;
        }
        used.ReadOrWait(lock, deadline);
    }
}

void Connection::AwaitArrival(Lock& lock, const Deadline& deadline)
{
    std::shared_ptr<Link> used = Current();
    if (used) {
        // Also with nothing subscribed: the service may have accepted a subscription whose call
        // timed out, and a client that does not read makes it wait.
        used->ReadOrWait(lock, deadline);
    } else if (!state.subscriptions.HasAccepted()) {
        state.WaitForChange(lock, deadline);
    } else if (nextAttempt.HasPassed()) {
        Open(lock, deadline, used);
    } else {
        state.WaitForChange(lock, deadline.Sooner(nextAttempt));
    }
}
