#include "platform/src/line_limit.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <string>
#include <vector>

namespace {

using Reports = std::vector<std::pair<std::string, unsigned int>>;

class LineLimit : public testing::Test {
protected:
    Reports ReportsOf(bool all)
    {
        Reports reports;
        limit.Report(
            all, [&](const char* kind, unsigned int count) { reports.emplace_back(kind, count); });
        return reports;
    }

    int Admitted(const char* kind, int lines)
    {
        int admitted = 0;
        for (int i = 0; i < lines; ++i) {
            admitted += limit.Admits(kind) ? 1 : 0;
        }
        return admitted;
    }

    platform::LineLimit limit;
};

TEST_F(LineLimit, AdmitsTwentyOfEachKind)
{
    EXPECT_EQ(Admitted("one", 50), 20);
    EXPECT_EQ(Admitted(std::string("one").c_str(), 50), 0) << "it compares addresses, not texts";
    EXPECT_EQ(Admitted("other", 20), 20);
    EXPECT_EQ(ReportsOf(true), (Reports{{"one", 80}}));
    EXPECT_EQ(Admitted("one", 50), 20) << "the limit starts again after the report";
}

TEST_F(LineLimit, ReportsWhenItsSecondIsOverAndNotBefore)
{
    EXPECT_EQ(limit.NextReportMs(), -1);
    const auto start = platform::Deadline::Clock::now();
    Admitted("one", 20);
    EXPECT_EQ(limit.NextReportMs(), -1) << "no line is held back";
    Admitted("one", 5);
    EXPECT_GT(limit.NextReportMs(), 0);
    EXPECT_LE(limit.NextReportMs(), 1000);
    EXPECT_EQ(ReportsOf(false), Reports());
    while (limit.NextReportMs() > 0) {
        poll(nullptr, 0, limit.NextReportMs());
    }
    EXPECT_EQ(ReportsOf(false), (Reports{{"one", 5}}));
    EXPECT_GE(platform::Deadline::Clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(limit.NextReportMs(), -1);
    EXPECT_EQ(Admitted("one", 50), 20);
}

TEST_F(LineLimit, AdmitsTwentyOfAllKindsThatHaveNoPlace)
{
    std::vector<std::string> kinds;
    for (int i = 0; i < 100; ++i) {
        kinds.push_back("kind " + std::to_string(i));
    }
    int admitted = 0;
    for (const std::string& kind : kinds) {
        admitted += Admitted(kind.c_str(), 100);
    }
    EXPECT_LE(admitted, 24 * 20);
    EXPECT_GE(admitted, 23 * 20);
}

TEST_F(LineLimit, ReportsWithoutTheEndOfTheKind)
{
    EXPECT_EQ(platform::LineLimit::MoreLikeThese("refused: ", 7),
              "7 more like these within a second: refused");
    EXPECT_EQ(platform::LineLimit::MoreLikeThese("dropped: it sent ", 1),
              "1 more like these within a second: dropped: it sent");
}

}  // namespace
