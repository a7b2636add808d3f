#include "platform/src/reconnect.h"

#include "platform/src/big_endian.h"

namespace platform {

namespace {

constexpr int intervalMs = 500;
constexpr unsigned int renewalLength = 8;

}  // namespace

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

int Reconnect::Connect(Lock& lock, const Deadline& deadline, std::shared_ptr<Link>& opened)
{
    Descriptor connected;
    int error = 0;
    {
        const auto role = state.Take(connecting);
        nextAttempt = Deadline(intervalMs);
        const auto unlocked = Unlocked(lock);
        error = state.directory.Connect(service, deadline, connected);
    }
    if (error != 0) {
        return error;
    }
    // What needs memory comes before it is in use: a connection without its subscriptions would be
    // taken for a good one.
    opened = std::make_shared<Link>(state, service, replies, std::move(connected));
    const std::vector<unsigned char> renewal = RenewalFrames();
    link = opened;
    if (!renewal.empty()) {
        error = opened->sender.Send(lock, renewal.data(), renewal.size(), deadline);
        if (error != 0) {
            opened->Lose();
        }
    }
    return error;
}

std::vector<unsigned char> Reconnect::RenewalFrames() const
{
    std::vector<unsigned char> frames;
    if (service != state.publisher) {
        return frames;
    }
    for (const Subscription& subscription : state.subscriptions.Accepted()) {
        const std::size_t at = frames.size();
        frames.resize(at + frameHeaderSize + renewalLength);
        EncodeFrameHeader(
            {FrameKind::Request, messages::subscribe, ReplyTable::unawaited, renewalLength},
            &frames[at]);
        PutU32(&frames[at + frameHeaderSize], subscription.number);
        PutU32(&frames[at + frameHeaderSize + 4], subscription.itemId);
    }
    return frames;
}

}  // namespace platform
