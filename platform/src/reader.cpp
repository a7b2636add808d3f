#include "platform/src/link.h"
#include "platform/src/log_sink.h"

#include <algorithm>
#include <new>
#include <poll.h>
#include <sys/time.h>

namespace platform {

namespace {

/// The end of a closed connection is reached at once, unless its other side is only half gone.
constexpr int restLimitMs = 100;

/// Poll interval for a full socket while another call reads: when that call ends, the sender reads.
constexpr int roomIntervalMs = 10;

}  // namespace

Reader::Reader(Link& readLink, const std::string& service)
    : link(readLink), arrivals(readLink.state, service, readLink.replies)
{
}

void Reader::ReadOrWait(Lock& lock, const Deadline& deadline)
{
    if (reading) {
        link.state.WaitForChange(lock, deadline);
    } else {
        Read(lock, deadline.RemainingMs());
    }
}

/// Reads once, waiting up to \p waitMs milliseconds, -1 without limit, and sorts what came; or only
/// sorts what an earlier call left.
void Reader::Read(Lock& lock, int waitMs)
{
    {
        const auto role = link.state.Take(reading);
        auto sorted = arrivals.Sort();
        if (sorted == Arrivals::Sorted::Nothing) {
            ReadSocket(lock, waitMs);
            sorted = arrivals.Sort();
        }
        if (sorted == Arrivals::Sorted::NotUnderstood) {
            link.Lose();
        }
    }
    const std::vector<Arrivals::Complaint> complaints = arrivals.TakeComplaints();
    if (!complaints.empty()) {
        const auto unlocked = Unlocked(lock);
        for (const Arrivals::Complaint& complaint : complaints) {
            LogFromLibrary(logErrors, complaint.text, complaint.kind);
        }
    }
}

void Reader::ReadSocket(Lock& lock, int waitMs)
{
    std::size_t size = 0;
    unsigned char* const room = arrivals.Room(size);
    if (!room) {
        link.Lose();
        throw std::bad_alloc();
    }
    ssize_t count = 0;
    int error = 0;
    {
        const auto unlocked = Unlocked(lock);
        LimitReading(waitMs);
        count = recv(link.socket.Get(), room, size, waitMs == 0 ? MSG_DONTWAIT : 0);
        error = errno;
    }
    // After a loss, what was read would get in between what the next connection brings.
    if (count > 0 && link.isOpen) {
        arrivals.Received(static_cast<std::size_t>(count));
    } else if (count == 0 || (error != EINTR && error != EAGAIN)) {
        link.Lose();
    }
}

/// A blocking read with a limit costs one call, poll() before a read two. The limit mostly stays
/// what it is, since the same waits come again and again.
void Reader::LimitReading(int waitMs)
{
    if (waitMs == 0 || waitMs == readLimitMs) {
        return;
    }
    const int ms = std::max(waitMs, 0);
    const timeval limit{ms / 1000, ms % 1000 * 1000};
    setsockopt(link.socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    readLimitMs = waitMs;
}

void Reader::ReadTheRest(Lock& lock)
{
    for (const Deadline deadline(restLimitMs); link.isOpen && !deadline.HasPassed();) {
        ReadOrWait(lock, deadline);
    }
}

void Reader::AwaitRoom(Lock& lock, const Deadline& deadline)
{
    const bool isReader = !reading;
    bool none = false;
    pollfd entry{link.socket.Get(), static_cast<short>(isReader ? POLLIN | POLLOUT : POLLOUT), 0};
    {
        const auto role = link.state.Take(isReader ? reading : none);
        const auto unlocked = Unlocked(lock);
        poll(&entry, 1,
             (isReader ? deadline : deadline.Sooner(Deadline(roomIntervalMs))).RemainingMs());
    }
    if (isReader && (entry.revents & ~POLLOUT) != 0) {
        Read(lock, 0);
    }
}

}  // namespace platform
