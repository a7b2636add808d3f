#include "bench/table.h"

namespace {

constexpr char rowFormat[] = "%-46s %11s  %-28s %11s  %6s  %-14s %7s %7s  %s\n";
constexpr char growthFormat[] = "  %-20s %11s  %-16s %16s %16s\n";

std::string Fixed(double value, int decimals)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string TimeText(double seconds)
{
    if (seconds >= 1e-3) {
        return Fixed(seconds * 1e3, 2) + " ms";
    }
    return seconds >= 1e-6 ? Fixed(seconds * 1e6, 2) + " us" : Fixed(seconds * 1e9, 0) + " ns";
}

std::string MemoryText(unsigned int kib) { return Fixed(kib / 1024.0, 1) + " MiB"; }

std::string RatioText(double ratio) { return Fixed(ratio, 2); }

std::string RateText(double seconds) { return Fixed(1 / seconds, 0) + "/s"; }

std::string SpreadText(double least, double most)
{
    return RatioText(least) + ".." + RatioText(most);
}

std::string LimitText(const char* relation, double limit, const char* unit)
{
    return limit == 0 ? "" : relation + Fixed(limit, 2) + unit;
}

std::string Verdict(bool meetsMust, bool meetsGoal, const Limits& limits)
{
    if (limits.goal == 0) {
        return "";
    }
    return meetsGoal ? "goal" : meetsMust ? "must" : "NO";
}

}  // namespace

Table::Table(std::FILE* output) : out(output)
{
    std::fprintf(out, rowFormat, "measure", "ours", "compared with", "theirs", "ratio", "spread",
                 "must", "goal", "reached");
}

void Table::AddTime(const std::string& measure, const std::string& comparedWith,
                    const Comparison& times, const Limits& limits)
{
    std::fprintf(out, rowFormat, measure.c_str(), TimeText(times.ours).c_str(),
                 comparedWith.c_str(), TimeText(times.theirs).c_str(),
                 RatioText(times.ratio).c_str(),
                 SpreadText(times.leastRatio, times.mostRatio).c_str(),
                 LimitText("<=", limits.must, "").c_str(), LimitText("<=", limits.goal, "").c_str(),
                 Verdict(times.ratio <= limits.must, times.ratio <= limits.goal, limits).c_str());
    std::fflush(out);
}

void Table::AddRate(const std::string& measure, const std::string& comparedWith,
                    const Comparison& times, const Limits& limits)
{
    const double ratio = 1 / times.ratio;
    std::fprintf(out, rowFormat, measure.c_str(), RateText(times.ours).c_str(),
                 comparedWith.c_str(), RateText(times.theirs).c_str(), RatioText(ratio).c_str(),
                 SpreadText(1 / times.mostRatio, 1 / times.leastRatio).c_str(),
                 LimitText(">=", limits.must, "").c_str(), LimitText(">=", limits.goal, "").c_str(),
                 Verdict(ratio >= limits.must, ratio >= limits.goal, limits).c_str());
    std::fflush(out);
}

void Table::AddShare(const std::string& measure, double percent, const Limits& limits)
{
    std::fprintf(out, rowFormat, measure.c_str(), (Fixed(percent, 3) + "%").c_str(), "", "", "", "",
                 LimitText("<", limits.must, "%").c_str(), LimitText("<", limits.goal, "%").c_str(),
                 Verdict(percent < limits.must, percent < limits.goal, limits).c_str());
    std::fflush(out);
}

void Table::AddRemark(const std::string& remark)
{
    std::fprintf(out, "  %s\n", remark.c_str());
    std::fflush(out);
}

void Table::AddGrowthHeading(const std::string& subject)
{
    std::fprintf(out, "\n%s\n", subject.c_str());
    std::fprintf(out, growthFormat, "", "time", "for", "peak of service", "peak of client");
}

void Table::AddGrowth(const std::string& size, double seconds, const std::string& each,
                      unsigned int serviceKiB, unsigned int clientKiB)
{
    std::fprintf(out, growthFormat, size.c_str(), TimeText(seconds).c_str(), each.c_str(),
                 MemoryText(serviceKiB).c_str(), MemoryText(clientKiB).c_str());
    std::fflush(out);
}
