#include "simulator/journal/request_history.h"

#include "simulator/journal/request_pattern.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class RequestHistory : public testing::Test {
protected:
    void AddLevel(unsigned int level)
    {
        recording::Request request;
        request.kind = recording::RequestKind::SetLogLevel;
        request.level = level;
        history.Add(request);
    }

    std::optional<std::uint64_t> FindLevel(unsigned int level, std::uint64_t from = 0) const
    {
        std::string problem;
        sim::RequestPattern pattern;
        EXPECT_TRUE(
            pattern.Parse({"request=SetLogLevel", "level=" + std::to_string(level)}, problem));
        return history.Find(pattern, from);
    }

    sim::RequestHistory history;
};

TEST_F(RequestHistory, FindsTheFirstMatchFromANumberOn)
{
    history.Start();
    for (const unsigned int level : {7u, 8u, 7u}) {
        AddLevel(level);
    }
    EXPECT_EQ(FindLevel(7), 0u);
    EXPECT_EQ(FindLevel(7, 1), 2u);
    EXPECT_EQ(FindLevel(7, 3), std::nullopt);
}

TEST_F(RequestHistory, KeepsTheLastOnes)
{
    history.Start();
    for (unsigned int level = 0; level <= sim::RequestHistory::most; ++level) {
        AddLevel(level);
    }
    EXPECT_EQ(FindLevel(0), std::nullopt);
    EXPECT_EQ(FindLevel(1), 1u);
    EXPECT_EQ(FindLevel(sim::RequestHistory::most), sim::RequestHistory::most);
}

TEST_F(RequestHistory, KeepsNothingWithoutAUser)
{
    AddLevel(7);
    history.Start();
    history.Start();
    EXPECT_EQ(FindLevel(7), std::nullopt);
    history.Stop();
    AddLevel(7);
    EXPECT_EQ(FindLevel(7), 0u);
    history.Stop();
    EXPECT_FALSE(history.IsOn());
    EXPECT_EQ(FindLevel(7), std::nullopt);
    history.Start();
    EXPECT_EQ(FindLevel(7), std::nullopt);
    EXPECT_EQ(history.Find(sim::RequestPattern(), 0), std::nullopt);
    AddLevel(7);
    EXPECT_EQ(FindLevel(7), 1u);
}

TEST_F(RequestHistory, KnowsTheChecksumOfBytesThatAreGone)
{
    history.Start();
    {
        const std::string bytes = "123456789";
        recording::Request request;
        request.kind = recording::RequestKind::SetRegionData;
        request.data = {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()};
        history.Add(request);
    }
    std::string problem;
    sim::RequestPattern pattern;
    ASSERT_TRUE(pattern.Parse({"request=SetRegionData", "size=9", "crc32=cbf43926"}, problem));
    EXPECT_EQ(history.Find(pattern, 0), 0u);
}

}  // namespace
