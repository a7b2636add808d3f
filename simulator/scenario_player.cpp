#include "simulator/scenario_player.h"

#include <algorithm>
#include <chrono>
#include <utility>

using namespace platform;
using namespace sim;
using std::chrono::milliseconds;

ScenarioPlayer::ScenarioPlayer(const Scenario& scenarioToPlay, bool repeat,
                               SubtitleService& serviceToUse, Audience& audienceToReach)
    : scenario(scenarioToPlay), loop(repeat), service(serviceToUse), audience(audienceToReach)
{
}

int ScenarioPlayer::Advance()
{
    const Clock::time_point now = Clock::now();
    for (Budget budget; !budget.IsSpent(); budget.SpendStep()) {
        if (restEnd > now) {
            return RestMs();
        }
        if (next == scenario.size()) {
            if (!loop) {
                return waitForEvent;
            }
            StartAgain();
        } else if (Play(scenario[next], budget)) {
            ++next;
        } else {
            return waitForEvent;
        }
    }
    return 0;
}

/// \return false when it has to be tried again
bool ScenarioPlayer::Play(const Directive& directive, Budget& budget)
{
    switch (directive.kind) {
    case Directive::Kind::WaitSubscribers: return audience.HasSubscriber(directive.number);
    case Directive::Kind::Publish: return Publish(directive, budget);
    case Directive::Kind::Sleep: break;
    }
    passTakesTime = passTakesTime || directive.number > 0;
    restEnd = Clock::now() + milliseconds(directive.number);
    return true;
}

bool ScenarioPlayer::Publish(const Directive& directive, Budget& budget)
{
    const std::uint64_t size = directive.frame->size();
    switch (audience.ReadinessFor(directive.number, directive.frame->size())) {
    case Audience::Readiness::Full: return false;
    case Audience::Readiness::Ready: passTakesTime = true; break;
    case Audience::Readiness::NoReader: break;
    }
    budget.Spend(size * service.Publish(directive.number, directive.frame, audience));
    return true;
}

void ScenarioPlayer::StartAgain()
{
    // A looped scenario without subscriber and sleep would take a whole processor.
    if (!std::exchange(passTakesTime, false)) {
        restEnd = Clock::now() + milliseconds(100);
    }
    next = 0;
}

/// Rounded up: a rest never ends early.
int ScenarioPlayer::RestMs() const
{
    constexpr milliseconds longest = std::chrono::hours(24);
    const auto left = std::chrono::ceil<milliseconds>(restEnd - Clock::now());
    return static_cast<int>(std::clamp(left, milliseconds(0), longest).count());
}
