#pragma once

#include "simulator/audience.h"
#include "simulator/scenario.h"
#include "simulator/subtitle_service.h"

#include "platform/src/deadline.h"

namespace sim {

/// Plays a scenario, a part in each pass of the event loop, as its slowest subscriber reads.
class ScenarioPlayer {
public:
    /// There is nothing to do until an event changes that.
    static constexpr int waitForEvent = -1;

    ScenarioPlayer(const Scenario& scenarioToPlay, bool repeat, SubtitleService& serviceToUse,
                   Audience& audienceToReach);

    /// Plays this turn's share.
    /// \return milliseconds after which there is more to do, or waitForEvent
    int Advance();

private:
    using Clock = platform::Deadline::Clock;

    bool Play(const Step& step, Budget& budget);
    bool Publish(const Step& step, Budget& budget);
    void StartAgain();
    static int MsUntil(Clock::time_point due);

    const Scenario& scenario;
    const bool loop;
    SubtitleService& service;
    Audience& audience;
    std::size_t next = 0;
    Clock::time_point start{};   ///< of the pass; not begun while it is the epoch
    bool passTakesTime = false;  ///< it has a subscriber
};

}  // namespace sim
