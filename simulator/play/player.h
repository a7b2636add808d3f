#pragma once

#include "simulator/clients/audience.h"
#include "simulator/journal/request_history.h"
#include "simulator/play/options.h"
#include "simulator/play/source.h"
#include "simulator/service/subtitle_service.h"

#include "platform/src/deadline.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace sim {

/// Plays a source, a part in each pass of the event loop.
///
/// The schedule is absolute, so a play does not drift: a step is due at a moment that follows from
/// its time and the anchor, which only a pause, a seek and a completed wait move. A play is never
/// faster than its slowest subscriber reads; that delays messages and not the schedule.
class Player {
public:
    using Clock = platform::Deadline::Clock;

    enum class State {
        None,      ///< nothing was started
        Checking,  ///< reads the whole source before it plays any of it
        Seeking,
        Paused,
        Waiting,  ///< for WaitsFor()
        Playing,
        Ended,
    };

    // Values of WakeAt() besides times.
    static constexpr Clock::time_point atOnce = Clock::time_point::min();
    static constexpr Clock::time_point afterEvent = Clock::time_point::max();

    /// \param isQuiet  does not report the end of a play. All others must outlive this object
    Player(SubtitleService& service, Audience& audience, RequestHistory& history, bool isQuiet,
           std::function<Clock::time_point()> clock = Clock::now);
    ~Player() { Stop(); }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /// Plays \p newSource instead of what is played. Throws std::bad_alloc.
    /// \param isChecked  IsPlayable() is true
    void Start(std::unique_ptr<Source> newSource, const PlayOptions& newOptions,
               bool isChecked = false);

    /// Does what is due, within a Budget.
    void Advance();

    /// When to call Advance() again.
    Clock::time_point WakeAt() const { return wakeAt; }

    // Each returns whether there is something to do it with.
    bool Pause();
    bool Resume();
    /// Pauses and plays \p count notifications, without any wait but that for slow readers.
    bool Step(std::uint64_t count);
    /// Publishes the last record of each kind before \p us, and goes on there. A stream only goes
    /// forwards.
    bool Seek(std::int64_t us);
    bool Stop();

    State GetState() const;
    bool HasEnded() const { return phase == Phase::Ended; }
    /// `a subscriber`, `a request`, `a slow reader`, `input` or nothing.
    const char* WaitsFor() const { return waitsFor; }
    /// Whether a check, a seek or steps are not done yet.
    bool IsBusy() const;
    std::int64_t PositionUs() const;
    std::int64_t LengthUs() const { return source ? source->LengthUs() : 0; }
    const PlayOptions& Options() const { return options; }

    /// Why the last play failed; empty if it did not.
    const std::string& Mistake() const { return mistake; }

    /// The descriptor that Advance() is to be called for; -1 for none.
    int AwaitedInput() const { return awaitsInput ? source->InputFd() : -1; }

private:
    enum class Phase { None, Checking, Seeking, Playing, Ended };

    // Each does one thing. \return false when Advance() has to return
    bool GoOn(Budget& budget);
    bool Check(Budget& budget);
    bool SeekOn(Budget& budget);
    bool PlayOn(Budget& budget);
    bool Play(Budget& budget);
    bool Publish(const sim::Step& step, Budget& budget);
    bool EndPass(Budget& budget);
    bool End(std::string_view why);
    bool Await(std::int64_t us);
    bool AwaitInput(Budget& budget);
    bool Wait(Clock::time_point until, const char* what = "");
    bool Complete(bool isComplete, const char* what);

    Source::Found Fetch(Budget& budget);
    bool IsWanted(const sim::Step& step) const;
    bool HasRequest();
    void Begin();
    void BeginSeek(std::int64_t us);
    void Remember();
    Clock::time_point DueAt(std::int64_t us) const;

    SubtitleService& service;
    Audience& audience;
    RequestHistory& history;
    const bool isQuiet;
    const std::function<Clock::time_point()> clock;
    Clock::time_point now;  ///< read once for each Advance()

    std::unique_ptr<Source> source;
    PlayOptions options;
    Phase phase = Phase::None;
    bool isPaused = false;
    std::uint64_t stepsLeft = 0;  ///< while it is paused
    std::string mistake;

    /// A moment of the play and its time.
    struct Anchor {
        Clock::time_point at;
        std::int64_t us;
    };
    std::optional<Anchor> anchor;     ///< none until the next step is found
    const sim::Step* next = nullptr;  ///< found, and not played yet
    std::int64_t positionUs = 0;      ///< of what was played last, or where it was paused
    bool passTakesTime = false;       ///< it has a subscriber

    std::int64_t targetUs = 0;  ///< of a seek
    std::map<std::pair<unsigned int, unsigned int>, sim::Step>
        records;  ///< the last ones before it

    std::uint64_t nextRequest = 0;  ///< in the history, that can complete a wait
    bool hasWaited = false;         ///< for what `next` needs
    Clock::time_point wakeAt = afterEvent;
    const char* waitsFor = "";
    bool awaitsInput = false;
};

}  // namespace sim
