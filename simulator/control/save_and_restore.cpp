#include "simulator/control/answers.h"
#include "simulator/control/commands.h"
#include "simulator/service/state_file.h"

#include <memory>

using namespace platform;
using namespace sim;

Answer ControlCommands::Save(const Call& call)
{
    const auto saving =
        std::make_shared<Saving>(on.service, on.logs.recorder.NewHeader(), call.line.words[1]);
    const auto goOn = [saving](Budget& budget) -> Answer {
        switch (saving->Continue(budget)) {
        case Stage::Busy: return Answer();
        case Stage::Failed: return Failed(saving->Problem());
        case Stage::Done: break;
        }
        return Done("\"records\":" + std::to_string(saving->Records()));
    };
    call.connection.job = {goOn, Deadline(-1), true};
    return Answer();
}

Answer ControlCommands::Restore(const Call& call)
{
    std::vector<std::string> mistakes;
    auto source = OpenRecording(call.line.words[1], mistakes);
    if (!source) {
        return FailedWith(mistakes);
    }
    const auto restoring = std::make_shared<Restoring>(on.service, on.audience, std::move(source));
    const auto goOn = [restoring](Budget& budget) -> Answer {
        switch (restoring->Continue(budget)) {
        case Stage::Busy: return Answer();
        case Stage::Failed: return Failed(restoring->Mistake());
        case Stage::Done: break;
        }
        return Done();
    };
    call.connection.job = {goOn, Deadline(-1), true};
    return Answer();
}
