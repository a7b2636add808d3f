#pragma once

#include "simulator/clients/audience.h"
#include "tests/harness/frames.h"

#include <set>
#include <vector>

using namespace sim;

/// An audience that records publications.
class RecordingAudience : public Audience {
public:
    bool HasSubscriber(unsigned int subscription) const override
    {
        return subscribed.count(subscription) != 0;
    }

    Readiness ReadinessFor(unsigned int subscription, std::size_t size) override
    {
        askedSize = size;
        return HasSubscriber(subscription) ? readiness : Readiness::NoReader;
    }

    std::size_t Publish(unsigned int subscription, const SharedFrame& frame) override
    {
        if (!HasSubscriber(subscription)) {
            return 0;
        }
        published.push_back(BytesOf(frame));
        return 1;
    }

    std::set<unsigned int> subscribed{2, 3, 4, 6, 10, 12};
    Readiness readiness = Readiness::Ready;
    std::size_t askedSize = 0;
    std::vector<std::string> published;
};
