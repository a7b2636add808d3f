#include "simulator/scenario_player.h"

#include "simulator/commentary.h"

#include <algorithm>
#include <chrono>
#include <utility>

using namespace platform;
using namespace sim;
using std::chrono::microseconds;
using std::chrono::milliseconds;

ScenarioPlayer::ScenarioPlayer(const Scenario& scenarioToPlay, bool repeat,
                               SubtitleService& serviceToUse, Audience& audienceToReach)
    : scenario(scenarioToPlay), loop(repeat), service(serviceToUse), audience(audienceToReach)
{
}

int ScenarioPlayer::Advance()
{
    start = start == Clock::time_point() ? Clock::now() : start;
    for (Budget budget; !budget.IsSpent(); budget.SpendStep()) {
        const bool isOver = next == scenario.steps.size();
        if (isOver && !loop) {
            return waitForEvent;
        }
        const Clock::time_point due =
            start + microseconds(isOver ? scenario.lengthUs : scenario.steps[next].atUs);
        if (due > Clock::now()) {
            return MsUntil(due);
        }
        if (isOver) {
            StartAgain();
        } else if (Play(scenario.steps[next], budget)) {
            ++next;
        } else {
            return waitForEvent;
        }
    }
    return 0;
}

/// \return false when it has to be tried again
bool ScenarioPlayer::Play(const Step& step, Budget& budget)
{
    switch (step.kind) {
    case Step::Kind::Publish: return Publish(step, budget);
    case Step::Kind::Log: Say(step.text->c_str()); return true;
    case Step::Kind::WaitSubscribers:
        if (!audience.HasSubscriber(step.subscription)) {
            return false;
        }
        start = Clock::now() - microseconds(step.atUs);
        return true;
    case Step::Kind::AwaitRequest: break;  // not in a scenario
    }
    return true;
}

bool ScenarioPlayer::Publish(const Step& step, Budget& budget)
{
    const std::uint64_t size = step.frame->size();
    switch (audience.ReadinessFor(step.subscription, step.frame->size())) {
    case Audience::Readiness::Full: return false;
    case Audience::Readiness::Ready: passTakesTime = true; break;
    case Audience::Readiness::NoReader: break;
    }
    budget.Spend(size * service.Publish(step.subscription, step.frame, audience));
    return true;
}

void ScenarioPlayer::StartAgain()
{
    start += microseconds(scenario.lengthUs);
    // A looped scenario without subscriber and sleep would take a whole processor.
    if (!std::exchange(passTakesTime, false) && scenario.lengthUs == 0) {
        start = Clock::now() + milliseconds(100);
    }
    next = 0;
}

/// Rounded up: a rest never ends early.
int ScenarioPlayer::MsUntil(Clock::time_point due)
{
    constexpr milliseconds longest = std::chrono::hours(24);
    const auto left = std::chrono::ceil<milliseconds>(due - Clock::now());
    return static_cast<int>(std::clamp(left, milliseconds(0), longest).count());
}
