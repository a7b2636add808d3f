#include "tests/fuzz/endpoint_model.h"

#include "tests/fuzz/fuzz_target.h"

#include <algorithm>
#include <cerrno>

namespace {

bool IsRegionDataNumber(unsigned int number)
{
    return (number >= 2 && number <= 4) || number == 12;
}

template <typename Container, typename Condition>
void RemoveIf(Container& container, Condition condition)
{
    container.erase(std::remove_if(container.begin(), container.end(), condition), container.end());
}

}  // namespace

void EndpointModel::Connected()
{
    connected = true;
    stream.clear();
}

void EndpointModel::Hears(const std::string& bytes)
{
    stream += bytes;
    ReferenceFrame frame;
    while (connected) {
        switch (TakeFrame(stream, frame)) {
        case StreamEnd::Cut: return;
        case StreamEnd::Malformed: Lose(); return;
        case StreamEnd::Complete: Handle(frame); break;
        }
    }
}

void EndpointModel::Handle(const ReferenceFrame& frame)
{
    switch (frame.kind) {
    case 2: TakeReply(frame); break;
    case 3:
        if (ReferenceIsWellFormed(frame.messageId, frame.payload) && SubscriptionFor(frame)) {
            queue.push_back(frame);
        }
        break;
    default: Lose(); break;
    }
}

void EndpointModel::TakeReply(const ReferenceFrame& frame)
{
    if (!awaits || frame.correlation != awaitedCorrelation) {
        return;
    }
    awaits = false;
    const bool isReply = frame.messageId == awaitedRequest + 1 &&
                         ReferenceIsWellFormed(frame.messageId, frame.payload);
    const bool isAccepted =
        isReply && (awaitedRequest == reference::ping || FromBigEndian(frame.payload, 0) == 0);
    result = !isReply ? EPROTO : isAccepted ? 0 : EREMOTEIO;
}

void EndpointModel::Lose()
{
    connected = false;
    if (awaits) {
        awaits = false;
        result = ECONNRESET;
    }
}

void EndpointModel::Expect(unsigned int request, unsigned int correlation)
{
    awaits = true;
    awaitedRequest = request;
    awaitedCorrelation = correlation;
    result = ETIMEDOUT;
}

void EndpointModel::SettleSubscription(bool accepted)
{
    const Subscription settled = subscriptions.back();
    subscriptions.pop_back();
    if (accepted) {
        RemoveIf(subscriptions, [&](const Subscription& s) { return s.number == settled.number; });
        subscriptions.push_back(settled);
    }
    ForgetUnwanted();
}

void EndpointModel::EndSubscription(unsigned int number)
{
    RemoveIf(subscriptions, [&](const Subscription& s) {
        return s.number == number || (number == 1 && IsRegionDataNumber(s.number));
    });
    ForgetUnwanted();
}

/// The exact number has precedence over 1, which covers all region data.
const EndpointModel::Subscription* EndpointModel::SubscriptionFor(const ReferenceFrame& frame) const
{
    for (const bool exact : {true, false}) {
        for (const Subscription& s : subscriptions) {
            const bool covers = exact ? s.number == frame.correlation
                                      : s.number == 1 && IsRegionDataNumber(frame.correlation);
            if (covers && s.item == frame.messageId) {
                return &s;
            }
        }
    }
    return nullptr;
}

void EndpointModel::ForgetUnwanted()
{
    RemoveIf(queue, [&](const ReferenceFrame& frame) { return !SubscriptionFor(frame); });
}

void* EndpointModel::TagOf(const Subscription& subscription)
{
    static unsigned char tags[64][256];
    return &tags[subscription.number % 64][subscription.item % 256];
}

EndpointModel::Notification EndpointModel::TakeNotification()
{
    Require(!queue.empty(), "a notification was not sent or has no subscription");
    const ReferenceFrame frame = queue.front();
    queue.pop_front();
    return {frame.payload, TagOf(*SubscriptionFor(frame))};
}
