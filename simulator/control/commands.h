#pragma once

#include "simulator/control/connection.h"
#include "simulator/control/controlled.h"
#include "simulator/journal/json.h"
#include "simulator/play/line_parser.h"

#include "platform/src/deadline.h"
#include "words/text.h"

#include <string>
#include <vector>

namespace sim {

/// Carries out the lines of the control socket.
class ControlCommands {
public:
    explicit ControlCommands(const Controlled& everything) : on(everything) {}

    /// Carries out \p text, a line without its end. \return see RunControlLine
    Answer Run(const std::string& text, ControlConnection& connection, Budget& budget);

private:
    /// A line with the right number of words.
    struct Call {
        const words::Line& line;
        LineParser& parser;
        ControlConnection& connection;
    };
    struct Verb;
    static const Verb verbs[];

    // The service; defined in control_commands.cpp
    Answer Publish(const Call& call);
    Answer Log(const Call& call);
    Answer Record(const Call& call);
    Answer Disconnect(const Call& call);
    Answer Quit(const Call& call);

    // Waits; defined in control_waits.cpp
    Answer Sleep(const Call& call);
    Answer WaitSubscribers(const Call& call);
    Answer Await(const Call& call);
    Answer AwaitSubscription(const Call& call, unsigned int subscription, std::int64_t withinUs);
    Answer AwaitRequest(const Call& call, const std::vector<std::string>& wanted,
                        std::int64_t withinUs);

    // What the service keeps; defined in control_state.cpp
    Answer State(const Call& call);

    // The play; defined in control_play.cpp
    Answer Play(const Call& call);
    Answer Pause(const Call& call);
    Answer Resume(const Call& call);
    Answer StepOn(const Call& call);
    Answer Seek(const Call& call);
    Answer Stop(const Call& call);
    Answer AnswerWithPosition(const Call& call);

    // Files; defined in control_files.cpp
    Answer Save(const Call& call);
    Answer Restore(const Call& call);

    // Faults; defined in control_faults.cpp
    Answer Fault(const Call& call);
    Answer Faults(const Call& call);
    Answer NoFault(const Call& call);

    const Controlled on;
};

/// What is played, for `state`.
void AddPlay(Json& json, const Player& player);

}  // namespace sim
