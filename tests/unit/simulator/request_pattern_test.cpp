#include "simulator/journal/request_pattern.h"

#include "simulator/journal/request_history.h"

#include "words/text.h"

#include <gtest/gtest.h>

using namespace sim;

namespace {

const std::string digits = "123456789";

/// A palette of region 3, filled, with the background code 31.
recording::Request Palette(const std::string& bytes = digits)
{
    recording::Request request;
    request.kind = recording::RequestKind::SetPaletteData;
    request.client = 2;
    request.regionId = 3;
    request.fill = true;
    request.backgroundCode = 31;
    request.data = {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()};
    return request;
}

std::string ProblemOf(const std::string& line)
{
    std::string problem;
    EXPECT_FALSE(RequestPattern().Parse(words::Split(line), problem)) << line;
    return problem;
}

RequestPattern Pattern(const std::string& line)
{
    RequestPattern pattern;
    std::string problem;
    EXPECT_TRUE(pattern.Parse(words::Split(line), problem)) << line << ": " << problem;
    return pattern;
}

bool Matches(const std::string& line, const recording::Request& request)
{
    return Pattern(line).Matches(request);
}

TEST(RequestPattern, ComparesTheFieldsThatAreGiven)
{
    EXPECT_TRUE(Matches("request=SetPaletteData", Palette()));
    EXPECT_TRUE(Matches("regionId=3 request=SetPaletteData fill=yes backgroundCode=31 size=9 "
                        "crc32=cbf43926 result=ok",
                        Palette()));
    EXPECT_FALSE(Matches("request=Ping", Palette()));
    for (const char* const field : {"regionId=4", "fill=f", "backgroundCode=0", "size=8",
                                    "crc32=cbf43927", "result=refused"}) {
        EXPECT_FALSE(Matches(std::string("request=SetPaletteData ") + field, Palette())) << field;
    }
}

TEST(RequestPattern, RefusesWhatIsNoPattern)
{
    const struct {
        const char* line;
        const char* problem;
    } rows[] = {
        {"Ping", "request= is missing"},
        {"request=SetPaleteData", "'SetPaleteData' is not a request; did you mean SetPaletteData?"},
        {"request=SetRegionData regionID=3",
         "SetRegionData has no 'regionID'; did you mean regionId?"},
        {"request=SetRegionData crc=00000000", "SetRegionData has no 'crc'"},
        {"request=Ping result=refuse",
         "'refuse' is not ok, refused or unanswered; did you mean refused?"},
        {"request=SetRegionData regionId=256", "'256' is not a number from 0 to 255"},
        {"request=InvertRegionData regionId=4294967296",
         "'4294967296' is not a number from 0 to 4294967295"},
        {"request=Ping request=Ping", "'request' is given twice"},
        {"request=SetLogLevel level=1 level=2", "'level' is given twice"},
        {"request=Ping regionId=3", "Ping has no 'regionId'"},
        {"request=Ping size=3", "Ping has no 'size'"},
        {"request=SetRegionVisibility visible=maybe", "'maybe' is not true or false"},
        {"request=SetRegionData crc32=123", "'123' is not eight digits of 0 to 9 and a to f"},
        {"request=SetRegionData size=16777217", "'16777217' is not a number from 0 to 16777216"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ProblemOf(row.line), row.problem) << row.line;
    }
}

TEST(RequestPattern, MatchesRequestsLikeARecordedOne)
{
    recording::Request same = Palette();
    same.client = 7;
    same.result = recording::Result::Refused;
    recording::Request other = same;
    other.fill = false;
    const RequestPattern pattern(Palette());
    EXPECT_TRUE(pattern.Matches(same));
    EXPECT_FALSE(pattern.Matches(other));
    EXPECT_FALSE(pattern.Matches(Palette("123456780")));
    EXPECT_FALSE(pattern.Matches(Palette(digits + "0")));
}

class RequestHistory : public testing::Test {
protected:
    void AddLevel(unsigned int level)
    {
        recording::Request request;
        request.kind = recording::RequestKind::SetLogLevel;
        request.level = level;
        history.Add(request);
    }

    std::optional<std::uint64_t> Find(const std::string& line, std::uint64_t from = 0) const
    {
        return history.Find(Pattern(line), from);
    }

    sim::RequestHistory history;
    const std::string level7 = "request=SetLogLevel level=7";
};

TEST_F(RequestHistory, FindsTheFirstMatchFromANumberOn)
{
    history.Start();
    for (const unsigned int level : {7u, 8u, 7u}) {
        AddLevel(level);
    }
    EXPECT_EQ(Find(level7), 0u);
    EXPECT_EQ(Find(level7, 1), 2u);
    EXPECT_EQ(Find(level7, 3), std::nullopt);
}

TEST_F(RequestHistory, KeepsTheLastOnes)
{
    history.Start();
    AddLevel(8);
    AddLevel(7);
    for (unsigned int i = 1; i < sim::RequestHistory::most; ++i) {
        AddLevel(9);
    }
    EXPECT_EQ(Find("request=SetLogLevel level=8"), std::nullopt);
    EXPECT_EQ(Find(level7), 1u);
}

TEST_F(RequestHistory, KeepsNothingWithoutAUser)
{
    AddLevel(7);
    history.Start();
    history.Start();
    EXPECT_EQ(Find(level7), std::nullopt);
    history.Stop();
    AddLevel(7);
    EXPECT_EQ(Find(level7), 0u);
    history.Stop();
    EXPECT_FALSE(history.IsOn());
    history.Start();
    EXPECT_EQ(Find(level7), std::nullopt);
    AddLevel(7);
    EXPECT_EQ(Find(level7), 1u);
}

TEST_F(RequestHistory, KnowsTheChecksumOfBytesThatAreGone)
{
    history.Start();
    history.Add(Palette(std::string("123456789")));
    EXPECT_EQ(Find("request=SetPaletteData size=9 crc32=cbf43926"), 0u);
}

}  // namespace
