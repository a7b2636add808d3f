#pragma once

#include <algorithm>
#include <cstdint>

namespace sim {

/// What one turn may cost, in bytes that are read, copied or queued.
class Budget {
public:
    static constexpr std::uint64_t ofATurn = 1024 * 1024;

    void Spend(std::uint64_t bytes) { left -= std::min(left, bytes); }

    /// A request or directive costs this much besides its bytes, so that a turn has at most 64.
    void SpendStep() { Spend(ofATurn / 64); }

    bool IsSpent() const { return left == 0; }

private:
    std::uint64_t left = ofATurn;
};

}  // namespace sim
