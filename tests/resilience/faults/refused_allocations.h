#pragma once

/// During its lifetime an allocation by new in this thread fails. Its source file replaces the
/// program's operator new.
class RefusedAllocation {
public:
    enum class Extent { One, AllThatFollow };

    /// \param number  how many allocations succeed before it
    explicit RefusedAllocation(int number, Extent extent = Extent::One);
    ~RefusedAllocation();
    RefusedAllocation(const RefusedAllocation&) = delete;
    RefusedAllocation& operator=(const RefusedAllocation&) = delete;

    /// Whether an allocation was refused.
    bool Happened() const;
};
