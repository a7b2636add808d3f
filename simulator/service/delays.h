#pragma once

#include "simulator/clients/backlog.h"

#include "platform/src/deadline.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

namespace sim {

/// What faults hold up for one client: late replies, and the reading of its requests.
class Delays {
public:
    /// Holds back a reply of at most Backlog::maxReplySize bytes, which are copied.
    /// \return the copy, which may be changed until it is released
    unsigned char* Add(const unsigned char* bytes, std::size_t length, int delayMs)
    {
        LateReply& reply = replies.emplace_back();
        reply.due = platform::Deadline(delayMs);
        reply.length = length;
        std::memcpy(reply.bytes, bytes, length);
        return reply.bytes;
    }

    void StopReading(int delayMs) { reading = platform::Deadline(delayMs); }

    std::size_t Replies() const { return replies.size(); }
    bool StopsReading() const { return reading.IsLimited(); }

    /// The next moment to call Release().
    platform::Deadline Next() const
    {
        platform::Deadline next = reading;
        for (const LateReply& reply : replies) {
            next = next.Sooner(reply.due);
        }
        return next;
    }

    /// Ends the delays whose time has come; their replies go to \p backlog.
    void Release(Backlog& backlog)
    {
        const auto isDue = [](const LateReply& reply) { return reply.due.HasPassed(); };
        const auto due = std::stable_partition(replies.begin(), replies.end(),
                                               [&](const auto& reply) { return !isDue(reply); });
        std::for_each(due, replies.end(),
                      [&](const LateReply& reply) { backlog.AddReply(reply.bytes, reply.length); });
        replies.erase(due, replies.end());
        if (reading.HasPassed()) {
            reading = platform::Deadline(-1);
        }
    }

    void Clear() { *this = Delays(); }

private:
    struct LateReply {
        platform::Deadline due{-1};
        std::size_t length = 0;
        unsigned char bytes[Backlog::maxReplySize] = {};
    };

    std::vector<LateReply> replies;
    platform::Deadline reading{-1};  ///< begins again then
};

}  // namespace sim
