#pragma once

#include "simulator/audience.h"
#include "simulator/budget.h"
#include "simulator/scenario.h"

#include "platform/src/deadline.h"

namespace sim {

/// Plays a scenario, a little in each turn of the event loop and never faster than its slowest
/// subscriber reads.
class ScenarioPlayer {
public:
    /// Nothing to do at any time; only something that happens can change that.
    static constexpr int waitForEvent = -1;

    ScenarioPlayer(const Scenario& scenarioToPlay, bool repeat, Audience& audienceToReach);

    /// Plays this turn's share.
    /// \return milliseconds after which there is more to do, or waitForEvent
    int Advance();

private:
    using Clock = platform::Deadline::Clock;

    enum class Step { Done, MustWait };

    Step Play(const Directive& directive, Budget& budget);
    Step PlaySleep(unsigned int milliseconds);
    Step PlayPublication(const Directive& directive, Budget& budget);
    void StartAgain();
    void RestUntil(Clock::time_point time);
    int RestMs() const;

    const Scenario& scenario;
    const bool loop;
    Audience& audience;
    std::size_t next = 0;
    bool sleeps = false;  ///< the sleep at `next` has begun
    bool rests = false;   ///< `restEnd` is still to come
    Clock::time_point restEnd{};
    bool passTakesTime = false;  ///< it has a reader or sleeps
};

}  // namespace sim
