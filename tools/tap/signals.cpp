#include "tap/signals.h"

#include <csignal>
#include <sys/time.h>
#include <unistd.h>

namespace tap {

namespace {

volatile std::sig_atomic_t isEndRequested = 0;

void RequestEnd(int)
{
    isEndRequested = 1;
    alarm(1);
}

void InterruptAgain(int) { alarm(1); }

/// Without SA_RESTART: a call that waits returns.
void Catch(int number, void (*handler)(int))
{
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

}  // namespace

void CatchSignals()
{
    Catch(SIGALRM, InterruptAgain);
    Catch(SIGINT, RequestEnd);
    Catch(SIGTERM, RequestEnd);
    struct sigaction hangUp {};
    if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN) {
        Catch(SIGHUP, RequestEnd);
    }
    Catch(SIGPIPE, SIG_IGN);
    Catch(SIGXFSZ, SIG_IGN);
}

bool IsEndRequested() { return isEndRequested != 0; }

void InterruptAfter(std::int64_t us)
{
    itimerval timer{};
    timer.it_value.tv_sec = static_cast<time_t>(us / 1000000);
    timer.it_value.tv_usec = static_cast<suseconds_t>(us % 1000000);
    setitimer(ITIMER_REAL, &timer, nullptr);
}

}  // namespace tap
