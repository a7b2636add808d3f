#include "platform/src/reconnect.h"

#include "platform/src/big_endian.h"

using namespace platform;

constexpr int reconnectIntervalMs = 500;

int Reconnect::Open(Lock& lock, const Deadline& deadline, std::shared_ptr<Link>& opened)
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
int Reconnect::Connect(Lock& lock, const Deadline& deadline, std::shared_ptr<Link>& opened)
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
    // What needs memory comes before the link is in use: other calls must not use a link whose
    // subscriptions are not renewed.
    opened = std::make_shared<Link>(state, service, std::move(connected));
    const bool isPublisher = service == state.publisher;
    const auto renewal = isPublisher ? RenewalFrames() : std::vector<unsigned char>();
    link = opened;
    if (!renewal.empty()) {
        error = opened->sender.Send(lock, renewal.data(), renewal.size(), deadline);
    }
    if (error != 0) {
        opened->Lose();
    }
    return error;
}

std::vector<unsigned char> Reconnect::RenewalFrames() const
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

void Reconnect::OpenNowAndThen(Lock& lock, const Deadline& deadline)
{
    if (!state.subscriptions.HasAccepted()) {
        state.WaitForChange(lock, deadline);
    } else if (!nextAttempt.HasPassed()) {
        state.WaitForChange(lock, deadline.Sooner(nextAttempt));
    } else {
        std::shared_ptr<Link> opened;
        Open(lock, deadline, opened);
    }
}
