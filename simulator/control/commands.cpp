#include "simulator/control/commands.h"

#include "simulator/commentary.h"
#include "simulator/control/answers.h"

#include <algorithm>
#include <iterator>

using namespace platform;
using namespace sim;

struct ControlCommands::Verb {
    std::string_view word;
    Answer (ControlCommands::*run)(const Call& call);
};

const ControlCommands::Verb ControlCommands::verbs[] = {
    {"region-data", &ControlCommands::Publish},
    {"visibility", &ControlCommands::Publish},
    {"palette", &ControlCommands::Publish},
    {"sleep", &ControlCommands::Sleep},
    {"wait-subscribers", &ControlCommands::WaitSubscribers},
    {"log", &ControlCommands::Log},
    {"state", &ControlCommands::State},
    {"await", &ControlCommands::Await},
    {"fault", &ControlCommands::Fault},
    {"faults", &ControlCommands::Faults},
    {"no-fault", &ControlCommands::NoFault},
    {"play", &ControlCommands::Play},
    {"pause", &ControlCommands::Pause},
    {"resume", &ControlCommands::Resume},
    {"step", &ControlCommands::StepOn},
    {"seek", &ControlCommands::Seek},
    {"stop", &ControlCommands::Stop},
    {"save", &ControlCommands::Save},
    {"restore", &ControlCommands::Restore},
    {"record", &ControlCommands::Record},
    {"disconnect", &ControlCommands::Disconnect},
    {"quit", &ControlCommands::Quit},
};

Answer ControlCommands::Run(const std::string& text, ControlConnection& connection, Budget& budget)
{
    const words::Line line = words::SplitLine(text);
    if (line.words.empty()) {
        return Done();
    }
    budget.Spend(text.size());
    LineParser parser(words::Place::Control, "");
    const words::Directive* const known = parser.Find(line);
    if (!known) {
        return RefusedBy(parser);
    }
    const Verb* const verb =
        std::find_if(std::begin(verbs), std::end(verbs),
                     [&](const Verb& candidate) { return candidate.word == known->word; });
    try {
        return (this->*verb->run)({line, parser, connection});
    } catch (const std::bad_alloc&) {
        return Failed("there is no memory for it");
    }
}

Answer ControlCommands::Publish(const Call& call)
{
    Step step;
    if (!call.parser.Publication(call.line, step)) {
        return RefusedBy(call.parser);
    }
    // Like a scenario, it is no faster than its slowest subscriber reads.
    call.connection.job.poll = [on = on, step](Budget& budget) -> Answer {
        if (on.peers.ReadinessFor(step.subscription, step.frame->size()) ==
            Audience::Readiness::Full) {
            return Answer();
        }
        const std::size_t receivers =
            on.service.Publish(step.subscription, step.frame, on.audience);
        budget.Spend(step.frame->size() * (1 + receivers));
        return Done("\"receivers\":" + std::to_string(receivers));
    };
    return Answer();
}

Answer ControlCommands::Log(const Call& call)
{
    Step step;
    if (!call.parser.Log(call.line, step)) {
        return RefusedBy(call.parser);
    }
    Say(step.text->c_str());
    return Done();
}

Answer ControlCommands::Record(const Call& call)
{
    const std::string& word = call.line.words[1];
    std::string problem;
    if (word == "off") {
        on.logs.recorder.Stop();
        return Done();
    }
    return on.logs.recorder.Start(word, problem) ? Done() : Failed(problem);
}

Answer ControlCommands::Disconnect(const Call& call)
{
    const std::string& word = call.line.words[1];
    unsigned int number = 0;
    Peer* const peer = words::ParseNumber(word, number) ? on.peers.Find(number) : nullptr;
    if (!peer) {
        return Failed("there is no client " + words::Quoted(word));
    }
    on.peers.Drop(*peer, "disconnected by control");
    return Done();
}

Answer ControlCommands::Quit(const Call& /*call*/)
{
    on.ending = true;
    return Done();
}
