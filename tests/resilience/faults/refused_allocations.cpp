#include "tests/resilience/faults/refused_allocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local int allowed = -1;  ///< allocations of this thread before one fails; negative: no limit
thread_local bool isLasting = false;
thread_local bool wasRefused = false;

bool MustRefuse()
{
    if (allowed < 0) {
        return false;
    }
    if (allowed > 0) {
        --allowed;
        return false;
    }
    wasRefused = true;
    allowed = isLasting ? 0 : -1;
    return true;
}

void* Take(std::size_t size)
{
    void* const memory = MustRefuse() ? nullptr : std::malloc(size);
    if (!memory) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

RefusedAllocation::RefusedAllocation(int number, Extent extent)
{
    wasRefused = false;
    isLasting = extent == Extent::AllThatFollow;
    allowed = number;
}

RefusedAllocation::~RefusedAllocation() { allowed = -1; }

bool RefusedAllocation::Happened() const { return wasRefused; }

void* operator new(std::size_t size) { return Take(size); }
void* operator new[](std::size_t size) { return Take(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return MustRefuse() ? nullptr : std::malloc(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return MustRefuse() ? nullptr : std::malloc(size);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
