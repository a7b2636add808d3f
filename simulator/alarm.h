#pragma once

#include "simulator/poller.h"

#include "platform/src/deadline.h"
#include "platform/src/descriptor.h"

#include <chrono>
#include <sys/timerfd.h>

namespace sim {

/// Wakes the event loop at a moment, more exactly than the poller's milliseconds.
class Alarm {
public:
    using Clock = platform::Deadline::Clock;

    /// \return false with errno set
    bool Open(Poller& poller)
    {
        timer = platform::Descriptor(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
        // Edge-triggered: each moment has one event, and nothing has to be read.
        return timer && poller.Control(EPOLL_CTL_ADD, timer.Get(), EPOLLIN | EPOLLET, this);
    }

    /// Replaces the moment that was set before; time_point::max() for none.
    void Set(Clock::time_point moment)
    {
        if (moment == set) {
            return;
        }
        set = moment;
        using namespace std::chrono;
        const nanoseconds time =
            moment == Clock::time_point::max() ? nanoseconds(0) : moment.time_since_epoch();
        itimerspec when{};
        when.it_value.tv_sec = duration_cast<seconds>(time).count();
        when.it_value.tv_nsec = static_cast<long>((time % seconds(1)).count());
        timerfd_settime(timer.Get(), TFD_TIMER_ABSTIME, &when, nullptr);
    }

private:
    platform::Descriptor timer;
    Clock::time_point set = Clock::time_point::max();
};

}  // namespace sim
