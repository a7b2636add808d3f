#pragma once

#include <chrono>
#include <functional>

using BenchClock = std::chrono::steady_clock;

/// One side of a comparison: works for about the time given.
/// \return the measured seconds per operation
using Side = std::function<double(BenchClock::duration)>;

/// Medians over all pairs of runs, in seconds; a ratio is ours / theirs of one pair.
struct Comparison {
    double ours;
    double theirs;
    double ratio;
    double leastRatio;
    double mostRatio;
};

/// Runs the two sides in turn, so that other load of the machine affects both of a pair equally.
Comparison ComparePairs(const Side& theirs, const Side& ours);

/// The median of as many runs of one side alone.
double MedianOf(const Side& side);

/// Repeats \p work for about \p window; reads the clock once in \p stride times.
/// \param work  returns how many operations it did
/// \return seconds per operation
template <typename Work>
double TimePerOperation(BenchClock::duration window, unsigned int stride, Work work)
{
    double operations = 0;
    const BenchClock::time_point start = BenchClock::now();
    BenchClock::duration taken{};
    while (taken < window) {
        for (unsigned int i = 0; i < stride; ++i) {
            operations += work();
        }
        taken = BenchClock::now() - start;
    }
    return std::chrono::duration<double>(taken).count() / operations;
}

/// The mean time of a call of \p work, as one side.
template <typename Work>
Side MeanTime(Work work)
{
    constexpr unsigned int callsPerLook = 16;
    return [=](BenchClock::duration window) {
        return TimePerOperation(window, callsPerLook, [&work] {
            work();
            return 1;
        });
    };
}

/// The time for each of the operations whose number a call of \p work returns, as one side.
template <typename Work>
Side MeanTimeOfMany(Work work)
{
    constexpr unsigned int callsPerLook = 16;
    return
        [=](BenchClock::duration window) { return TimePerOperation(window, callsPerLook, work); };
}
