#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace sim {

/// A queue that stops allocating once it has been as long as it ever gets.
template <typename Entry>
class Ring {
public:
    std::size_t Size() const { return count; }
    bool IsEmpty() const { return count == 0; }

    /// \p index counted from the oldest entry, below Size().
    Entry& At(std::size_t index) { return slots[(first + index) & (slots.size() - 1)]; }
    const Entry& At(std::size_t index) const { return slots[(first + index) & (slots.size() - 1)]; }
    Entry& Front() { return At(0); }
    const Entry& Front() const { return At(0); }

    void PushBack(Entry entry)
    {
        if (count == slots.size()) {
            Grow();
        }
        ++count;
        At(count - 1) = std::move(entry);
    }

    void PopFront()
    {
        Front() = Entry();
        first = (first + 1) & (slots.size() - 1);
        --count;
    }

private:
    void Grow()
    {
        // A power of two, so that an index is wrapped with a mask.
        std::vector<Entry> larger(slots.empty() ? 8 : 2 * slots.size());
        for (std::size_t i = 0; i < count; ++i) {
            larger[i] = std::move(At(i));
        }
        slots.swap(larger);
        first = 0;
    }

    std::vector<Entry> slots;
    std::size_t first = 0;
    std::size_t count = 0;
};

}  // namespace sim
