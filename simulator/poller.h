#pragma once

#include "platform/src/descriptor.h"

#include <sys/epoll.h>

namespace sim {

/// Watches descriptors for events. The owner of a descriptor recognises its events by their tag.
class Poller {
public:
    static constexpr int maxEvents = 64;

    /// \return false with errno set
    bool Open()
    {
        epoll = platform::Descriptor(epoll_create1(EPOLL_CLOEXEC));
        return static_cast<bool>(epoll);
    }

    /// Readable when there are events, so that another poller can watch it.
    int Fd() const { return epoll.Get(); }

    /// \param operation  EPOLL_CTL_ADD, EPOLL_CTL_MOD or EPOLL_CTL_DEL
    /// \return false with errno set
    bool Control(int operation, int fd, unsigned int events = 0, void* tag = nullptr)
    {
        epoll_event event{};
        event.events = events;
        event.data.ptr = tag;
        return epoll_ctl(epoll.Get(), operation, fd, &event) == 0;
    }

    /// Waits for events, \p waitMs milliseconds or -1 without limit.
    /// \return their number; 0 also when a signal interrupted the wait
    int Wait(epoll_event (&events)[maxEvents], int waitMs)
    {
        const int count = epoll_wait(epoll.Get(), events, maxEvents, waitMs);
        return count > 0 ? count : 0;
    }

private:
    platform::Descriptor epoll;
};

}  // namespace sim
