#include "simulator/stall_rule.h"

#include "simulator/commentary.h"

#include <algorithm>
#include <string>

namespace sim {

void StallRule::Lose(unsigned int count, const char* why)
{
    SlowDown(Pace::LosesSome, why);
    lost += count;
}

void StallRule::Judge(Clock::time_point oldest, Clock::time_point now)
{
    if (now - oldest >= limit) {
        SlowDown(Pace::Stalled,
                 "stalled, has left notifications unread for two seconds; publishing no "
                 "longer waits for it");
    }
}

void StallRule::SlowDown(Pace slower, const char* why)
{
    if (pace == Pace::KeepsUp) {
        Tell(client, why);
    }
    pace = std::max(pace, slower);
}

void StallRule::End(const char* how)
{
    if (pace != Pace::KeepsUp) {
        Tell(client, how, std::to_string(lost));  // so short that it needs no memory
    }
    pace = Pace::KeepsUp;
    lost = 0;
}

}  // namespace sim
