#include "platform/src/line_limit.h"

#include <gtest/gtest.h>

#include <chrono>
#include <poll.h>
#include <string>
#include <vector>

using namespace platform;

namespace {

using Reports = std::vector<std::pair<std::string, unsigned int>>;

Reports ReportsOf(LineLimit& limit, bool all)
{
    Reports reports;
    limit.Report(all,
                 [&](const char* kind, unsigned int count) { reports.emplace_back(kind, count); });
    return reports;
}

int Admitted(LineLimit& limit, const char* kind, int lines)
{
    int admitted = 0;
    for (int i = 0; i < lines; ++i) {
        admitted += limit.Admits(kind) ? 1 : 0;
    }
    return admitted;
}

TEST(ALineLimit, AdmitsTwentyOfEachKind)
{
    LineLimit limit;
    EXPECT_EQ(Admitted(limit, "one", 50), 20);
    EXPECT_EQ(Admitted(limit, std::string("one").c_str(), 50), 0) << "the text counts";
    EXPECT_EQ(Admitted(limit, "other", 20), 20);
    EXPECT_EQ(ReportsOf(limit, true), (Reports{{"one", 80}}));
    EXPECT_EQ(Admitted(limit, "one", 50), 20) << "after the report";
}

TEST(ALineLimit, ReportsWhenItsSecondIsOverAndNotBefore)
{
    LineLimit limit;
    EXPECT_EQ(limit.NextReportMs(), -1);
    const auto start = std::chrono::steady_clock::now();
    Admitted(limit, "one", 20);
    EXPECT_EQ(limit.NextReportMs(), -1) << "none is held back";
    Admitted(limit, "one", 5);
    EXPECT_GT(limit.NextReportMs(), 0);
    EXPECT_LE(limit.NextReportMs(), 1000);
    EXPECT_EQ(ReportsOf(limit, false), Reports());
    while (limit.NextReportMs() > 0) {
        poll(nullptr, 0, limit.NextReportMs());
    }
    EXPECT_EQ(ReportsOf(limit, false), (Reports{{"one", 5}}));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(limit.NextReportMs(), -1);
    EXPECT_EQ(Admitted(limit, "one", 50), 20);
}

TEST(ALineLimit, AdmitsNoMoreForKindsBeyondItsPlaces)
{
    LineLimit limit;
    std::vector<std::string> kinds;
    for (int i = 0; i < 100; ++i) {
        kinds.push_back("kind " + std::to_string(i));
    }
    int admitted = 0;
    for (const std::string& kind : kinds) {
        admitted += Admitted(limit, kind.c_str(), 100);
    }
    EXPECT_LE(admitted, 24 * 20);
    EXPECT_GE(admitted, 23 * 20);
}

TEST(ALineLimit, TellsWithoutTheEndOfTheKind)
{
    EXPECT_EQ(LineLimit::MoreLikeThese("refused: ", 7),
              "7 more like these within a second: refused");
    EXPECT_EQ(LineLimit::MoreLikeThese("dropped: it sent ", 1),
              "1 more like these within a second: dropped: it sent");
}

}  // namespace
