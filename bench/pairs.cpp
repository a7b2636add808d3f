#include "bench/pairs.h"

#include <algorithm>
#include <vector>

namespace {

constexpr unsigned int pairCount = 15;
constexpr std::chrono::milliseconds window{120};

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

Comparison ComparePairs(const Side& theirs, const Side& ours)
{
    std::vector<double> theirTimes;
    std::vector<double> ourTimes;
    std::vector<double> ratios;
    // The first pair fills caches and buffers, and is not counted.
    for (unsigned int pair = 0; pair <= pairCount; ++pair) {
        const double theirTime = theirs(window);
        const double ourTime = ours(window);
        if (pair > 0) {
            theirTimes.push_back(theirTime);
            ourTimes.push_back(ourTime);
            ratios.push_back(ourTime / theirTime);
        }
    }
    return {Median(ourTimes), Median(theirTimes), Median(ratios),
            *std::min_element(ratios.begin(), ratios.end()),
            *std::max_element(ratios.begin(), ratios.end())};
}

double MedianOf(const Side& side)
{
    std::vector<double> times;
    for (unsigned int run = 0; run < pairCount; ++run) {
        times.push_back(side(window));
    }
    return Median(times);
}
