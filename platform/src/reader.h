#pragma once

#include "platform/src/endpoint_state.h"

#include <optional>

namespace platform {

struct Link;

/// The reader role of a link. An endpoint has no thread of its own: one of the calls that wait has
/// the role, and sorts what comes for all of them.
class Reader {
public:
    explicit Reader(Link& readLink) : link(readLink) {}

    /// Reads once and sorts what came, or waits until another call has done so or \p deadline has
    /// passed.
    ///
    /// The hand-over: at the end of each read the role is free and all are woken. Each that still
    /// waits calls this again, so there is a reader as long as any call waits.
    void ReadOrWait(Lock& lock, const Deadline& deadline);

    /// Reads what is there, for a sender that waits for room, unless another call reads.
    void ReadWhatIsThere(Lock& lock);

    bool IsReading() const { return reading; }

private:
    void Read(Lock& lock, int waitMs);
    void ReadSocket(Lock& lock, int waitMs);
    void LimitReading(int waitMs);
    bool Sort(Lock& lock);
    void TakeReply(Lock& lock, const ReceivedFrame& frame);
    void TakeNotification(Lock& lock, ReceivedFrame& frame);
    bool IsWanted(const ReceivedFrame& frame) const;

    Link& link;
    bool reading = false;
    int readLimitMs = -1;  ///< SO_RCVTIMEO as it is set now
    InputBlocks input;
    std::optional<ReceivedFrame> held;  ///< a notification that the queue has no room for
};

}  // namespace platform
