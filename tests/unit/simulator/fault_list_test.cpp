#include "simulator/service/fault_list.h"

#include "tests/unit/simulator/decode.h"
#include "words/text.h"

#include <gtest/gtest.h>

using namespace platform;
using sim::FaultKind;

namespace {

class FaultList : public testing::Test {
protected:
    FaultList() { Decode(messages::refreshRegions, "", refresh); }

    unsigned int Add(const char* text)
    {
        sim::FaultSpec spec;
        std::string problem;
        EXPECT_TRUE(sim::ParseFault(words::Split(text), spec, problem)) << problem;
        return faults.Add(spec);
    }

    FaultKind Draw(unsigned int client = 1) { return faults.Draw(&refresh, client).kind; }

    sim::Request refresh;
    sim::FaultList faults;
};

TEST_F(FaultList, CausesTheStrongestFaultFirst)
{
    const char* const weakestFirst[] = {
        "stall",         "refuse", "wrong-reply", "late",
        "truncate",      "mute",   "hang-up",     "restart chance=1 client=1",
        "crash client=1"};
    FaultKind last = FaultKind::None;
    for (const char* const text : weakestFirst) {
        Add(text);
        EXPECT_LT(Draw(), last) << text;
        last = Draw();
    }
}

TEST_F(FaultList, ConcernsARequestAndAClient)
{
    Add("mute request=Ping");
    Add("hang-up client=2");
    EXPECT_EQ(Draw(1), FaultKind::None);
    EXPECT_EQ(Draw(2), FaultKind::HangUp);
    Decode(messages::ping, "", refresh);
    EXPECT_EQ(Draw(1), FaultKind::Mute);
    EXPECT_EQ(faults.Draw(nullptr, 1).kind, FaultKind::None);
    EXPECT_EQ(faults.Draw(nullptr, 2).kind, FaultKind::HangUp);
}

TEST_F(FaultList, LeavesQuitToFaultsThatNameIt)
{
    Decode(messages::quit, "", refresh);
    Add("crash client=1");
    EXPECT_EQ(Draw(), FaultKind::None);
    Add("restart request=Quit");
    EXPECT_EQ(Draw(), FaultKind::Restart);
}

TEST_F(FaultList, DropsAFaultAfterItsLastUse)
{
    Add("mute times=2");
    Add("late delay=250ms");
    EXPECT_EQ(Draw(), FaultKind::Mute);
    EXPECT_EQ(faults.AsJson(), R"([{"id":1,"fault":"mute times=2","used":1},)"
                               R"({"id":2,"fault":"late delay=250ms","used":0}])");
    EXPECT_EQ(Draw(), FaultKind::Mute);
    EXPECT_EQ(faults.Draw(&refresh, 1).delayMs, 250);
    EXPECT_EQ(faults.AsJson(), R"([{"id":2,"fault":"late delay=250ms","used":1}])");
    EXPECT_FALSE(faults.Remove(1));
    EXPECT_TRUE(faults.Remove(2));
    EXPECT_EQ(faults.AsJson(), "[]");
    EXPECT_EQ(Add("mute"), 3u);
}

TEST_F(FaultList, SpoilsNotificationsAndNoRequest)
{
    Add("garbage client=2 times=1");
    EXPECT_EQ(Draw(2), FaultKind::None);
    EXPECT_FALSE(faults.DrawGarbage(1));
    EXPECT_TRUE(faults.DrawGarbage(2));
    EXPECT_FALSE(faults.DrawGarbage(2));
}

/// The numbers of std::mt19937 are fixed: 5489 begins with 3499211612, 581869302, 3890346734,
/// 3586334585, 545404204. Divided by 2^32: 0.8147, 0.1355, 0.9058, 0.8350, 0.1270.
TEST_F(FaultList, DrawsTheSameOnAllMachines)
{
    Add("mute chance=0.81 seed=5489");
    Add("hang-up chance=0.13 seed=5489");
    EXPECT_EQ(Draw(), FaultKind::None);
    EXPECT_EQ(Draw(), FaultKind::Mute);
    EXPECT_EQ(Draw(), FaultKind::None);
    EXPECT_EQ(Draw(), FaultKind::None);
    EXPECT_EQ(Draw(), FaultKind::HangUp);
    EXPECT_EQ(Draw(), FaultKind::Mute);  // its fifth number: it was not asked before
    Add("crash client=1 chance=0");
    EXPECT_NE(Draw(), FaultKind::Crash);
}

}  // namespace
