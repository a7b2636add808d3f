#include "simulator/scenario_player.h"

#include <chrono>

namespace sim {

using namespace platform;

namespace {

/// Between two passes of a scenario that has no reader and never sleeps: at full speed it would
/// take a whole processor for nothing.
constexpr std::chrono::milliseconds idlePass{100};

}  // namespace

ScenarioPlayer::ScenarioPlayer(const Scenario& scenarioToPlay, bool repeat,
                               Audience& audienceToReach)
    : scenario(scenarioToPlay), loop(repeat), audience(audienceToReach)
{
}

int ScenarioPlayer::Advance()
{
    for (Budget budget; !budget.IsSpent(); budget.SpendStep()) {
        if (rests) {
            const int restMs = RestMs();
            if (restMs > 0) {
                return restMs;
            }
            rests = false;
        }
        if (next == scenario.size()) {
            if (!loop) {
                return waitForEvent;
            }
            StartAgain();
            continue;
        }
        if (Play(scenario[next], budget) == Step::MustWait) {
            return rests ? RestMs() : waitForEvent;
        }
        ++next;
    }
    return 0;
}

ScenarioPlayer::Step ScenarioPlayer::Play(const Directive& directive, Budget& budget)
{
    switch (directive.kind) {
    case Directive::Kind::Sleep: return PlaySleep(directive.number);
    case Directive::Kind::WaitSubscribers:
        return audience.HasSubscriber(directive.number) ? Step::Done : Step::MustWait;
    case Directive::Kind::Publish: break;
    }
    return PlayPublication(directive, budget);
}

ScenarioPlayer::Step ScenarioPlayer::PlaySleep(unsigned int milliseconds)
{
    if (sleeps || milliseconds == 0) {
        sleeps = false;
        return Step::Done;
    }
    sleeps = true;
    passTakesTime = true;
    RestUntil(Clock::now() + std::chrono::milliseconds(milliseconds));
    return Step::MustWait;
}

ScenarioPlayer::Step ScenarioPlayer::PlayPublication(const Directive& directive, Budget& budget)
{
    const std::uint64_t size = directive.frame->size();
    switch (audience.ReadinessFor(directive.number, directive.frame->size())) {
    case Audience::Readiness::Full: return Step::MustWait;
    case Audience::Readiness::Ready: passTakesTime = true; break;
    case Audience::Readiness::NoReader: break;
    }
    budget.Spend(size * audience.Publish(directive.number, directive.frame));
    return Step::Done;
}

void ScenarioPlayer::StartAgain()
{
    if (!passTakesTime) {
        RestUntil(Clock::now() + idlePass);
    }
    passTakesTime = false;
    next = 0;
}

void ScenarioPlayer::RestUntil(Clock::time_point time)
{
    rests = true;
    restEnd = time;
}

/// Rounded up: a rest never ends early.
int ScenarioPlayer::RestMs() const
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(restEnd - Clock::now()).count();
    constexpr int longest = 24 * 60 * 60 * 1000;
    return left <= 0 ? 0 : left > longest ? longest : static_cast<int>(left);
}

}  // namespace sim
