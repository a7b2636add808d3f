#pragma once

/// While it lives, an allocation of this thread by new fails. The program's operator new is this
/// file's.
class RefusedAllocation {
public:
    enum class Extent { One, AllThatFollow };

    /// \param number  how many allocations succeed before
    explicit RefusedAllocation(int number, Extent extent = Extent::One);
    ~RefusedAllocation();
    RefusedAllocation(const RefusedAllocation&) = delete;
    RefusedAllocation& operator=(const RefusedAllocation&) = delete;

    /// Whether there were as many, so that one was refused.
    bool Happened() const;
};
