#include "words/directives.h"

#include <gtest/gtest.h>

using namespace words;

namespace {

TEST(Directives, FindsAWordWhereItIsAllowed)
{
    std::string problem;
    for (const Directive& known : directives) {
        const std::vector<std::string> line(known.fewest, std::string(known.word));
        for (const Place place : {Place::Scenario, Place::Control}) {
            const bool isAllowed = known.place == place || known.place == Place::Both;
            EXPECT_EQ(FindDirective(line, place, problem), isAllowed ? &known : nullptr)
                << known.word;
        }
    }
}

TEST(Directives, RefuseALineWithTheReason)
{
    const struct {
        Place place;
        std::vector<std::string> line;
        const char* problem;
    } rows[] = {
        {Place::Scenario, {"repaet"}, "unknown directive 'repaet'; did you mean repeat?"},
        {Place::Control, {"setp"}, "unknown directive 'setp'; did you mean step?"},
        {Place::Scenario, {"setp"}, "unknown directive 'setp'"},
        {Place::Control, {"\x1b[2J"}, "unknown directive '?[2J'"},
        {Place::Control, {"repeat", "1"}, "repeat is allowed only in a scenario"},
        {Place::Scenario, {"state"}, "state is allowed only on the control socket"},
        {Place::Scenario, {"sleep"}, "expected: sleep TIME"},
        {Place::Control, {"no-fault", "1", "2"}, "expected: no-fault [ID]"},
    };
    for (const auto& row : rows) {
        std::string problem;
        EXPECT_EQ(FindDirective(row.line, row.place, problem), nullptr);
        EXPECT_EQ(problem, row.problem);
    }
}

}  // namespace
