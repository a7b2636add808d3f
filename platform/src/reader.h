#pragma once

#include "platform/src/arrivals.h"

#include <string>

namespace platform {

struct Link;

/// Reads one socket. An endpoint has no thread of its own: one of the calls that wait has the
/// reader role, and sorts what comes for all of them.
///
/// The role is handed over at the end of Read(): it is free then, and every call that waits is
/// woken. Each looks whether it has what it waited for, and if not calls ReadOrWait() again: the
/// first to get the lock becomes the reader, the others wait on. So there is a reader as long as any
/// call waits, and a call that has what it wanted reads no more.
class Reader {
public:
    Reader(Link& readLink, const std::string& service);

    /// Reads once and sorts, or waits until another call has done so or \p deadline has passed.
    void ReadOrWait(Lock& lock, const Deadline& deadline);

    /// Sorts what the other side sent before it went away.
    void ReadTheRest(Lock& lock);

    /// Waits until the socket has room to send, \p deadline has passed, or something was read: two
    /// sides that only write would wait for each other for ever.
    void AwaitRoom(Lock& lock, const Deadline& deadline);

private:
    bool Read(Lock& lock, int waitMs);
    bool ReadSocket(Lock& lock, int waitMs);
    void LimitReading(int waitMs);

    Link& link;
    Arrivals arrivals;
    bool reading = false;
    int readLimitMs = -1;  ///< SO_RCVTIMEO as it is set now; only the reader changes it
};

}  // namespace platform
