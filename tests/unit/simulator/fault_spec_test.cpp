#include "simulator/service/fault_spec.h"

#include "words/text.h"

#include <gtest/gtest.h>

using namespace sim;

namespace {

FaultSpec Parsed(const std::string& text)
{
    FaultSpec spec;
    std::string problem;
    EXPECT_TRUE(ParseFault(words::Split(text), spec, problem)) << text << ": " << problem;
    return spec;
}

TEST(FaultSpec, HoldsWhatItsWordsSay)
{
    const FaultSpec full =
        Parsed("late request=SetPaletteData client=2 times=3 chance=0.25 seed=7 delay=1.5");
    EXPECT_EQ(full.kind, FaultKind::Late);
    EXPECT_EQ(full.request, "SetPaletteData");
    EXPECT_EQ(full.client, 2u);
    EXPECT_EQ(full.times, 3u);
    EXPECT_EQ(full.chance, 250000u);
    EXPECT_EQ(full.seed, 7u);
    EXPECT_EQ(full.delayMs, 1500);
    const FaultSpec plain = Parsed("mute");
    EXPECT_EQ(plain.kind, FaultKind::Mute);
    EXPECT_EQ(plain.request, "");
    EXPECT_EQ(plain.client, 0u);
    EXPECT_EQ(plain.times, 0u);
    EXPECT_EQ(plain.chance, FaultSpec::always);
    EXPECT_EQ(plain.delayMs, 1000);
}

TEST(FaultSpec, HasOlderNamesForThreeRefusals)
{
    for (const auto& [name, request] :
         {std::pair("refuse-subscribe", "Subscribe"), std::pair("refuse-refresh", "RefreshRegions"),
          std::pair("refuse-sensor", "SendSensorUpdate")}) {
        const FaultSpec spec = Parsed(name);
        EXPECT_EQ(spec.kind, FaultKind::Refuse);
        EXPECT_EQ(spec.request, request);
    }
}

TEST(FaultSpec, IsImmediateWithoutCondition)
{
    for (const auto& [text, isImmediate] :
         {std::pair("crash", true), std::pair("restart delay=2s", true),
          std::pair("crash client=1", false), std::pair("restart request=Ping times=2", false),
          std::pair("crash chance=0.5", false), std::pair("mute", false)}) {
        EXPECT_EQ(Parsed(text).IsImmediate(), isImmediate) << text;
    }
}

TEST(FaultSpec, IsRefusedWithTheReason)
{
    constexpr struct {
        const char* words;
        const char* problem;
    } rows[] = {
        {"sulk",
         "'sulk' is not a fault; there are refuse, mute, hang-up, garbage, late, wrong-reply, "
         "truncate, stall, crash, restart, refuse-subscribe, refuse-refresh, refuse-sensor"},
        {"hangup", "'hangup' is not a fault; did you mean hang-up?"},
        {"mute now", "'now' is not request=, client=, times=, chance=, seed= or delay="},
        {"mute time=3", "'time=3' is not request=, client=, times=, chance=, seed= or delay=; did "
                        "you mean times?"},
        {"mute times=1 times=2", "times= is given twice"},
        {"mute request=Pong", "'Pong' is not a request; did you mean Ping?"},
        {"mute client=0", "'0' is not a number from 1 to 4294967295"},
        {"mute chance=1.5", "'1.5' is not a chance from 0 to 1, like 0.25"},
        {"mute chance=0.5 seed=x", "'x' is not a number from 0 to 4294967295"},
        {"mute seed=1", "seed= needs chance="},
        {"late delay=5m", "'5m' is not a time like 500ms or 2s"},
        {"late delay=86401", "'86401' is longer than a day"},
        {"mute delay=2s", "mute has no delay="},
        {"garbage request=Ping", "garbage has no request="},
        {"refuse-sensor request=Ping", "refuse-sensor has no request="},
        {"crash request=Ping times=2", "crash has no times="},
        {"restart times=2", "restart happens at once: times= needs request=, client= or chance="},
        {"refuse request=Ping", "Ping has no result that could be a refusal"},
        {"mute request=Quit", "Quit is always obeyed, except under crash and restart"},
    };
    for (const auto& row : rows) {
        FaultSpec spec;
        std::string problem;
        EXPECT_FALSE(ParseFault(words::Split(row.words), spec, problem)) << row.words;
        EXPECT_EQ(problem, row.problem);
    }
}

}  // namespace
