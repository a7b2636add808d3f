#pragma once

#include "simulator/scenario.h"
#include "simulator/source.h"

#include <utility>

namespace sim {

/// The steps of a scenario.
class ScenarioSource : public Source {
public:
    explicit ScenarioSource(Scenario toPlay) : scenario(std::move(toPlay)) {}

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
    std::size_t next = 0;
    const std::string none;
};

}  // namespace sim
