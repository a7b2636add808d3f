#pragma once

#include "platform/src/descriptor.h"

#include <sys/epoll.h>

namespace sim {

/// Watches descriptors for events; each carries a tag of its owner's, by which it is known.
class Poller {
public:
    static constexpr int maxEvents = 64;

    /// \return false with errno set
    bool Open();

    bool Add(int fd, unsigned int events, void* tag)
    {
        return Control(EPOLL_CTL_ADD, fd, events, tag);
    }
    bool Change(int fd, unsigned int events, void* tag)
    {
        return Control(EPOLL_CTL_MOD, fd, events, tag);
    }
    void Remove(int fd) { Control(EPOLL_CTL_DEL, fd, 0, nullptr); }

    /// Waits for events, \p waitMs milliseconds or -1 without limit.
    /// \return how many there are; 0 also when a signal interrupted the wait
    int Wait(epoll_event (&events)[maxEvents], int waitMs);

private:
    bool Control(int operation, int fd, unsigned int events, void* tag);

    platform::Descriptor epoll;
};

}  // namespace sim
