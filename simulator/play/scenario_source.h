#pragma once

#include "simulator/play/scenario.h"
#include "simulator/play/source.h"

#include "platform/src/descriptor.h"

#include <utility>

namespace sim {

/// The steps of a scenario.
class ScenarioSource : public Source {
public:
    /// \param opened  its file, which stays open
    explicit ScenarioSource(Scenario toPlay, platform::Descriptor opened = platform::Descriptor())
        : scenario(std::move(toPlay)), file(std::move(opened))
    {
    }

    const char* Name() const override { return "scenario"; }
    Found Next(const Step*& step, Budget&) override
    {
        const bool isThere = next < scenario.steps.size();
        if (isThere) {
            step = &scenario.steps[next++];
        }
        return isThere ? Found::Step : Found::End;
    }
    bool Rewind() override
    {
        next = 0;
        return true;
    }
    const std::string& Mistake() const override { return none; }
    std::int64_t LengthUs() const override { return scenario.lengthUs; }
    bool IsLoaded() const override { return true; }

private:
    const Scenario scenario;
    const platform::Descriptor file;
    std::size_t next = 0;
    const std::string none;
};

}  // namespace sim
