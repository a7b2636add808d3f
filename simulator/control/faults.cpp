#include "simulator/control/answers.h"
#include "simulator/control/commands.h"

using namespace sim;

Answer ControlCommands::Fault(const Call& call)
{
    FaultSpec spec;
    std::string problem;
    if (!ParseFault({call.line.words.begin() + 1, call.line.words.end()}, spec, problem)) {
        return Failed(problem);
    }
    return Done("\"id\":" + std::to_string(Cause(spec, on.faults, on.outage)));
}

Answer ControlCommands::Faults(const Call& /*call*/)
{
    return Done("\"faults\":" + on.faults.AsJson());
}

Answer ControlCommands::NoFault(const Call& call)
{
    if (call.line.words.size() == 1) {
        on.faults.Clear();
        return Done();
    }
    const std::string& word = call.line.words[1];
    unsigned int id = 0;
    return words::ParseNumber(word, id) && on.faults.Remove(id)
               ? Done()
               : Failed("there is no fault " + words::Quoted(word));
}
