#include "simulator/poller.h"

namespace sim {

using namespace platform;

bool Poller::Open()
{
    epoll = Descriptor(epoll_create1(EPOLL_CLOEXEC));
    return static_cast<bool>(epoll);
}

int Poller::Wait(epoll_event (&events)[maxEvents], int waitMs)
{
    const int count = epoll_wait(epoll.Get(), events, maxEvents, waitMs);
    return count > 0 ? count : 0;
}

bool Poller::Control(int operation, int fd, unsigned int events, void* tag)
{
    epoll_event event{};
    event.events = events;
    event.data.ptr = tag;
    return epoll_ctl(epoll.Get(), operation, fd, &event) == 0;
}

}  // namespace sim
