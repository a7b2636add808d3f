#include "tests/fuzz/endpoint_model.h"

#include "tests/fuzz/fuzz_target.h"

#include <algorithm>
#include <cerrno>

namespace {

bool IsRegionDataNumber(unsigned int number)
{
    return (number >= 2 && number <= 4) || number == 12;
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

int EndpointModel::TakeResult()
{
    awaits = false;
    return result;
}

void EndpointModel::BeginSubscription(unsigned int number, unsigned int item)
{
    subscriptions.push_back({number, item, false});
}

void EndpointModel::SettleSubscription(bool accepted)
{
    Subscription settled = subscriptions.back();
    subscriptions.pop_back();
    if (accepted) {
        const auto isReplaced = [&](const Subscription& s) { return s.number == settled.number; };
        subscriptions.erase(std::remove_if(subscriptions.begin(), subscriptions.end(), isReplaced),
                            subscriptions.end());
        settled.accepted = true;
        subscriptions.push_back(settled);
    }
    ForgetUnwanted();
}

void EndpointModel::EndSubscription(unsigned int number)
{
    const auto isEnded = [&](const Subscription& s) {
        return s.number == number || (number == 1 && IsRegionDataNumber(s.number));
    };
    subscriptions.erase(std::remove_if(subscriptions.begin(), subscriptions.end(), isEnded),
                        subscriptions.end());
    ForgetUnwanted();
}

std::vector<unsigned int> EndpointModel::Subscribed() const
{
    std::vector<unsigned int> numbers;
    for (const Subscription& subscription : subscriptions) {
        numbers.push_back(subscription.number);
    }
    return numbers;
}

/// The exact number goes before the one that stands for all region data, and what is in force
/// before what is only asked for.
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
    queue.erase(std::remove_if(queue.begin(), queue.end(),
                               [&](const ReferenceFrame& f) { return !SubscriptionFor(f); }),
                queue.end());
}

void* EndpointModel::TagOf(unsigned int number, unsigned int item)
{
    static unsigned char tags[64][256];
    return &tags[number % 64][item % 256];
}

EndpointModel::Notification EndpointModel::TakeNotification()
{
    Require(!queue.empty(), "a notification that nobody sent or wants");
    const ReferenceFrame frame = queue.front();
    queue.pop_front();
    const Subscription* const subscription = SubscriptionFor(frame);
    return {frame.payload, TagOf(subscription->number, subscription->item)};
}
