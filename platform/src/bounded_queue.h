#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace platform {

/// Notifications that wait, oldest first: at most 256 of them and 1 MiB. Beyond that the oldest are
/// dropped, because newer ones matter more; the newest one is always kept.
///
/// \tparam Entry  `SizeOf(entry)` is its size on the wire in bytes, header included
///
/// Not synchronised.
template <typename Entry>
class BoundedQueue {
public:
    static constexpr std::size_t mostEntries = 256;
    static constexpr std::size_t mostBytes = 1024 * 1024;

    bool IsEmpty() const { return Size() == 0; }
    std::size_t Size() const { return entries.size() - taken; }
    std::size_t Bytes() const { return bytes; }

    /// \p index counted from the oldest entry, below Size().
    const Entry& At(std::size_t index) const { return entries[taken + index]; }

    /// Whether \p count entries of \p size bytes together can be added without any loss.
    bool HasRoomFor(std::size_t count, std::size_t size) const
    {
        return IsEmpty() || (Size() + count <= mostEntries && bytes + size <= mostBytes);
    }

    /// Adds \p entry and drops the oldest ones for it, but not the first \p spared.
    /// \return how many were dropped
    unsigned int Push(Entry&& entry, std::size_t spared = 0)
    {
        const std::size_t size = SizeOf(entry);
        unsigned int dropped = 0;
        for (; !HasRoomFor(1, size) && Size() > spared; ++dropped) {
            Take(spared);
        }
        if (taken >= mostEntries) {
            entries.erase(entries.begin(), Place(0));
            taken = 0;
        }
        entries.push_back(std::move(entry));
        bytes += size;
        return dropped;
    }

    /// Takes out the entry at \p index.
    Entry Take(std::size_t index = 0)
    {
        Entry entry = std::move(*Place(index));
        bytes -= SizeOf(entry);
        if (index > 0) {
            entries.erase(Place(index));
        } else if (++taken == entries.size()) {
            Clear();
        }
        return entry;
    }

    /// Allocates no memory.
    void Clear()
    {
        entries.clear();
        taken = 0;
        bytes = 0;
    }

private:
    auto Place(std::size_t index)
    {
        return entries.begin() + static_cast<std::ptrdiff_t>(taken + index);
    }

    std::vector<Entry> entries;  ///< no memory before the first entry: most peers get none
    std::size_t taken = 0;       ///< of the front; they are removed together
    std::size_t bytes = 0;
};

}  // namespace platform
