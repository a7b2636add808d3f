#include "simulator/scenario_player.h"

#include <chrono>

namespace sim {

using namespace platform;

namespace {

/// A turn's share: the requests of other clients are served between two turns.
constexpr unsigned int directivesPerTurn = 64;
constexpr std::size_t bytesPerTurn = 1024 * 1024;

/// Between two passes of a scenario that nobody reads and that never sleeps; at full speed it would
/// take a whole processor for nothing.
constexpr std::chrono::milliseconds idlePass{100};

}  // namespace

ScenarioPlayer::ScenarioPlayer(const Scenario& scenarioToPlay, bool repeat, Audience& everybody)
    : scenario(scenarioToPlay), loop(repeat), audience(everybody)
{
}

int ScenarioPlayer::Advance()
{
    queuedBytes = 0;
    for (unsigned int played = 0; played < directivesPerTurn && queuedBytes < bytesPerTurn;
         ++played) {
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
        if (Play(scenario[next]) == Step::MustWait) {
            return rests ? RestMs() : waitForEvent;
        }
        ++next;
    }
    return 0;
}

ScenarioPlayer::Step ScenarioPlayer::Play(const Directive& directive)
{
    switch (directive.kind) {
    case Directive::Kind::Sleep: return PlaySleep(directive.number);
    case Directive::Kind::WaitSubscribers:
        return audience.HasSubscriber(directive.number) ? Step::Done : Step::MustWait;
    case Directive::Kind::Publish: break;
    }
    return PlayPublication(directive);
}

ScenarioPlayer::Step ScenarioPlayer::PlaySleep(unsigned int milliseconds)
{
    if (sleeps || milliseconds == 0) {
        sleeps = false;
        return Step::Done;
    }
    sleeps = true;
    passReachedAnyone = true;
    RestUntil(Clock::now() + std::chrono::milliseconds(milliseconds));
    return Step::MustWait;
}

ScenarioPlayer::Step ScenarioPlayer::PlayPublication(const Directive& directive)
{
    switch (audience.ReadinessFor(directive.number, directive.frame->size())) {
    case Audience::Readiness::Full: return Step::MustWait;
    case Audience::Readiness::Ready: passReachedAnyone = true; break;
    case Audience::Readiness::Nobody: break;
    }
    queuedBytes += audience.Publish(directive.number, directive.frame) * directive.frame->size();
    return Step::Done;
}

void ScenarioPlayer::StartAgain()
{
    if (!passReachedAnyone) {
        RestUntil(Clock::now() + idlePass);
    }
    passReachedAnyone = false;
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
