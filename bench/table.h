#pragma once

#include "bench/pairs.h"

#include <cstdio>
#include <string>

/// The limits of a ratio; 0 for none.
struct Limits {
    double must = 0;
    double goal = 0;
};

/// The one table of a run; each row is printed as soon as it is known.
class Table {
public:
    explicit Table(std::FILE* output);

    /// A time for each operation: the ratio is ours / theirs, and less is better.
    void AddTime(const std::string& measure, const std::string& comparedWith,
                 const Comparison& times, const Limits& limits = {});

    /// Operations in a second: the ratio is ours / theirs, and more is better.
    void AddRate(const std::string& measure, const std::string& comparedWith,
                 const Comparison& times, const Limits& limits = {});

    /// A share in percent that is compared with nothing, and less is better.
    void AddShare(const std::string& measure, double percent, const Limits& limits);

    /// A line instead of rows that could not be measured.
    void AddRemark(const std::string& remark);

    /// Begins another table, of \p subject as it grows.
    void AddGrowthHeading(const std::string& subject);

    void AddGrowth(const std::string& size, double seconds, const std::string& each,
                   unsigned int serviceKiB, unsigned int clientKiB);

private:
    std::FILE* out;
};
