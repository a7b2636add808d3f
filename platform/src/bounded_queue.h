#pragma once

#include <cstddef>
#include <deque>
#include <utility>

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

    bool IsEmpty() const { return entries.empty(); }
    std::size_t Size() const { return entries.size(); }
    std::size_t Bytes() const { return bytes; }

    /// \p index counted from the oldest entry, below Size().
    const Entry& At(std::size_t index) const { return entries[index]; }

    /// Whether \p count entries of \p size bytes together can be added without any loss.
    bool HasRoomFor(std::size_t count, std::size_t size) const
    {
        return IsEmpty() || (Size() + count <= mostEntries && bytes + size <= mostBytes);
    }

    /// Adds \p entry and drops the oldest ones for it, but not the first \p spared.
    /// \return how many were dropped
    unsigned int Push(Entry entry, std::size_t spared = 0)
    {
        const std::size_t size = SizeOf(entry);
        unsigned int dropped = 0;
        for (; !HasRoomFor(1, size) && Size() > spared; ++dropped) {
            Take(spared);
        }
        entries.push_back(std::move(entry));
        bytes += size;
        return dropped;
    }

    /// Takes out the entry at \p index.
    Entry Take(std::size_t index = 0)
    {
        Entry taken = std::move(entries[index]);
        entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(index));
        bytes -= SizeOf(taken);
        return taken;
    }

    /// Allocates no memory.
    void Clear()
    {
        entries.clear();
        bytes = 0;
    }

private:
    std::deque<Entry> entries;
    std::size_t bytes = 0;
};

}  // namespace platform
