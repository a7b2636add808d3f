#include "simulator/play/player.h"

#include "simulator/commentary.h"

#include <algorithm>
#include <chrono>
#include <new>

using namespace platform;
using namespace sim;
using std::chrono::duration;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// What a step costs besides the bytes that it publishes.
static constexpr std::uint64_t costOfAStep = Budget::ofATurn / 256;

Player::Player(SubtitleService& serviceToUse, Audience& audienceToReach,
               RequestHistory& historyToSearch, bool quiet,
               std::function<Clock::time_point()> clockToUse)
    : service(serviceToUse), audience(audienceToReach), history(historyToSearch), isQuiet(quiet),
      clock(std::move(clockToUse))
{
}

// Control

void Player::Start(std::unique_ptr<Source> newSource, const PlayOptions& newOptions, bool isChecked)
{
    if (newOptions.awaitsRequests) {
        history.Start();
    }
    Stop();
    source = std::move(newSource);
    options = newOptions;
    isPaused = options.isPaused;
    mistake.clear();
    nextRequest = history.Next();
    wakeAt = atOnce;
    if (!isChecked && !source->IsLoaded() && source->Rewind()) {
        phase = Phase::Checking;
    } else {
        Begin();
    }
}

bool Player::Stop()
{
    const bool isThere = source != nullptr;
    if (isThere && options.awaitsRequests) {
        history.Stop();
    }
    source.reset();
    next = nullptr;
    records.clear();
    anchor.reset();
    stepsLeft = 0;
    positionUs = 0;
    waitsFor = "";
    awaitsInput = false;
    phase = Phase::None;
    return isThere;
}

bool Player::Pause()
{
    if (!source || phase == Phase::Ended) {
        return false;
    }
    positionUs = PositionUs();
    isPaused = true;
    stepsLeft = 0;
    return true;
}

bool Player::Resume()
{
    if (!source || phase == Phase::Ended) {
        return false;
    }
    if (isPaused) {
        isPaused = false;
        anchor.reset();
        wakeAt = atOnce;
    }
    return true;
}

bool Player::Step(std::uint64_t count)
{
    const bool isPossible = Pause();
    stepsLeft = isPossible ? count : 0;
    wakeAt = atOnce;
    return isPossible;
}

bool Player::Seek(std::int64_t us)
{
    if (!source || phase == Phase::Checking) {
        return false;
    }
    const std::int64_t from = PositionUs();
    if (source->Rewind()) {
        next = nullptr;
    } else if (us < from || phase == Phase::Ended) {
        return false;
    }
    stepsLeft = 0;
    anchor.reset();
    records.clear();
    wakeAt = atOnce;
    BeginSeek(us);
    return true;
}

Player::State Player::GetState() const
{
    switch (phase) {
    case Phase::None: return State::None;
    case Phase::Checking: return State::Checking;
    case Phase::Seeking: return State::Seeking;
    case Phase::Ended: return State::Ended;
    case Phase::Playing: break;
    }
    return isPaused ? State::Paused : *waitsFor != '\0' ? State::Waiting : State::Playing;
}

bool Player::IsBusy() const
{
    return phase == Phase::Checking || phase == Phase::Seeking || stepsLeft > 0;
}

std::int64_t Player::PositionUs() const
{
    if (phase != Phase::Playing || isPaused || !anchor || options.rate == 0) {
        return positionUs;
    }
    const duration<double, std::micro> elapsed = clock() - anchor->at;
    const std::int64_t latest = next ? next->atUs : LengthUs();
    const auto us = static_cast<std::int64_t>(elapsed.count() * options.rate) + anchor->us;
    return std::max(positionUs, std::min(us, latest));
}

// The parts of Advance()

void Player::Advance()
{
    now = source ? clock() : now;
    wakeAt = atOnce;
    waitsFor = "";
    awaitsInput = false;
    try {
        for (Budget budget; !budget.IsSpent() && GoOn(budget);) {
        }
    } catch (const std::bad_alloc&) {
        End("no memory");
    }
}

bool Player::GoOn(Budget& budget)
{
    switch (phase) {
    case Phase::Checking: return Check(budget);
    case Phase::Seeking: return SeekOn(budget);
    case Phase::Playing:
        if (!isPaused || stepsLeft > 0) {
            return PlayOn(budget);
        }
        break;
    case Phase::None:
    case Phase::Ended: break;
    }
    return Wait(afterEvent);
}

bool Player::Check(Budget& budget)
{
    switch (Fetch(budget)) {
    case Source::Found::NotYet: return AwaitInput(budget);
    case Source::Found::Mistake: return End(source->Mistake());
    case Source::Found::Step: break;
    case Source::Found::End:
        source->Rewind();
        Begin();
        break;
    }
    next = nullptr;
    budget.Spend(costOfAStep);
    return true;
}

bool Player::SeekOn(Budget& budget)
{
    switch (Fetch(budget)) {
    case Source::Found::NotYet: return AwaitInput(budget);
    case Source::Found::Mistake: return End(source->Mistake());
    case Source::Found::End: break;
    case Source::Found::Step:
        if (next->atUs < targetUs) {
            Remember();
            budget.Spend(costOfAStep);
            return true;
        }
        break;
    }
    if (records.empty()) {
        phase = Phase::Playing;
        passTakesTime = false;  // it did not begin yet
        return true;
    }
    if (!Publish(records.begin()->second, budget)) {
        return false;
    }
    records.erase(records.begin());
    return true;
}

bool Player::PlayOn(Budget& budget)
{
    switch (Fetch(budget)) {
    case Source::Found::NotYet: return AwaitInput(budget);
    case Source::Found::Mistake: return End(source->Mistake());
    case Source::Found::Step: break;
    case Source::Found::End: return EndPass(budget);
    }
    if (next->atUs >= options.untilUs) {
        return EndPass(budget);
    }
    return Await(next->atUs) && Play(budget);
}

bool Player::Play(Budget& budget)
{
    bool isDone = true;
    bool isPublished = false;
    switch (next->kind) {
    case sim::Step::Kind::WaitSubscribers:
        isDone = Complete(audience.HasSubscriber(next->subscription), "a subscriber");
        break;
    case sim::Step::Kind::AwaitRequest:
        isDone = !options.awaitsRequests || Complete(HasRequest(), "a request");
        break;
    case sim::Step::Kind::Log: Say(next->text->c_str()); break;
    case sim::Step::Kind::Publish:
        isPublished = IsWanted(*next);
        isDone = !isPublished || Publish(*next, budget);
        stepsLeft -= isPaused && isDone && isPublished ? 1 : 0;
        break;
    }
    if (!isDone) {
        return false;
    }
    positionUs = std::max(positionUs, next->atUs);
    next = nullptr;
    budget.Spend(isPublished ? 0 : costOfAStep);
    // Sent before the next message is parsed, which may take longer.
    const bool isSentFirst = isPublished && options.rate > 0 && !source->IsLoaded();
    return !isSentFirst || Wait(atOnce);
}

/// \return false when a reader has no room for it
bool Player::Publish(const sim::Step& step, Budget& budget)
{
    const std::size_t size = step.frame ? step.frame->size() : 0;
    switch (audience.ReadinessFor(step.subscription, size)) {
    case Audience::Readiness::Full: return Wait(afterEvent, "a slow reader");
    case Audience::Readiness::Ready: passTakesTime = true; break;
    case Audience::Readiness::NoReader: break;
    }
    const std::uint64_t receivers = service.Publish(step.subscription, step.frame, audience);
    budget.Spend(costOfAStep + size * receivers);
    return true;
}

bool Player::EndPass(Budget& budget)
{
    const std::int64_t endUs = std::min(source->LengthUs(), options.untilUs);
    if (!Await(endUs)) {
        return false;
    }
    positionUs = endUs;
    next = nullptr;
    stepsLeft = 0;
    const bool isLooped = options.loop && endUs >= options.fromUs;
    if (!isLooped || !source->Rewind()) {
        return End("");
    }
    // Without subscriber and time a pass would take a whole processor. After a long interruption
    // the passes that were missed are left out.
    const Clock::time_point due = DueAt(endUs);
    const bool takesTime = passTakesTime || due - DueAt(options.fromUs) >= milliseconds(1);
    const bool isLate = options.rate == 0 || now - due > seconds(1);
    if (takesTime && !isLate) {
        anchor->us -= endUs - options.fromUs;
    } else {
        anchor = {takesTime ? now : now + milliseconds(100), options.fromUs};
    }
    budget.Spend(costOfAStep);
    BeginSeek(options.fromUs);
    return true;
}

bool Player::End(std::string_view why)
{
    phase = Phase::Ended;
    next = nullptr;
    records.clear();
    stepsLeft = 0;
    mistake = why;
    if (!mistake.empty()) {
        Say(mistake.c_str());
    } else if (!isQuiet) {
        Say(source->Name(), " ended");
    }
    return Wait(afterEvent);
}

/// \return whether the moment \p us has come
bool Player::Await(std::int64_t us)
{
    if (!anchor) {
        anchor = Anchor{now, positionUs};
    }
    const Clock::time_point due = DueAt(us);
    return isPaused || now >= due || Wait(due);
}

bool Player::AwaitInput(Budget& budget)
{
    awaitsInput = !budget.IsSpent();
    return !awaitsInput || Wait(afterEvent, "input");
}

bool Player::Wait(Clock::time_point until, const char* what)
{
    wakeAt = until;
    waitsFor = what;
    return false;
}

/// A wait that was not over at once moves the schedule.
bool Player::Complete(bool isComplete, const char* what)
{
    if (!isComplete && !isPaused) {
        hasWaited = true;
        return Wait(afterEvent, what);
    }
    if (hasWaited) {
        anchor = {now, next->atUs};
    }
    return true;
}

Source::Found Player::Fetch(Budget& budget)
{
    if (next) {
        return Source::Found::Step;
    }
    hasWaited = false;
    return source->Next(next, budget);
}

bool Player::IsWanted(const sim::Step& step) const
{
    return !step.frame || options.regions[(*step.frame)[frameHeaderSize]];
}

bool Player::HasRequest()
{
    const std::optional<std::uint64_t> found = history.Find(*next->request, nextRequest);
    nextRequest = found ? *found + 1 : history.Next();
    return found.has_value();
}

void Player::Begin() { BeginSeek(options.fromUs); }

void Player::BeginSeek(std::int64_t us)
{
    targetUs = us;
    positionUs = us;
    passTakesTime = false;
    phase = us > 0 ? Phase::Seeking : Phase::Playing;
}

/// Takes the next step as the last record of its kind.
void Player::Remember()
{
    if (next->kind == sim::Step::Kind::Publish && next->frame && IsWanted(*next)) {
        const unsigned int kind = SubtitleService::KindOf(next->subscription, next->frame);
        records[{(*next->frame)[frameHeaderSize], kind}] = *next;
    }
    next = nullptr;
}

Player::Clock::time_point Player::DueAt(std::int64_t us) const
{
    constexpr double longest = 1e15;  // microseconds: a sum with any clock does not overflow
    if (us == anchor->us || options.rate == 0) {
        return anchor->at;
    }
    const double wait = static_cast<double>(us - anchor->us) / options.rate;
    return anchor->at + microseconds(static_cast<std::int64_t>(std::min(wait, longest)));
}
