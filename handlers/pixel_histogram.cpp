#include "handlers/pixel_histogram.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

// A bitmap is almost always free of values above 3, so it is counted in blocks of words, eight
// pixels a word: bit 0 and bit 1 of every byte are added up in the byte lanes of three sums. All
// lanes count the same thing, so the order of the bytes in a word does not matter. A block in
// which some byte has a higher bit is counted again, byte by byte.

namespace {

constexpr std::size_t wordSize = sizeof(std::uint64_t);
constexpr std::size_t wordsInBlock = 64;  // a lane grows by 1 a word, and holds 255
constexpr std::size_t blockSize = wordsInBlock * wordSize;
static_assert(wordsInBlock <= 255, "a lane of a sum must not overflow");

constexpr std::uint64_t lowBits = 0x0101010101010101;
constexpr std::uint64_t highBits = 0xFCFCFCFCFCFCFCFC;

unsigned int SumOfLanes(std::uint64_t lanes)
{
    unsigned int sum = 0;
    for (; lanes != 0; lanes >>= 8) {
        sum += lanes & 0xFF;
    }
    return sum;
}

/// \return false when the block holds a value above 3; \p counts is then as it was
bool CountBlock(const unsigned char* pixels, PixelCounts& counts)
{
    std::uint64_t seen = 0;
    std::uint64_t bit0 = 0;
    std::uint64_t bit1 = 0;
    std::uint64_t both = 0;
    for (std::size_t i = 0; i < wordsInBlock; ++i) {
        std::uint64_t word;
        std::memcpy(&word, pixels + i * wordSize, wordSize);
        const std::uint64_t shifted = word >> 1;
        seen |= word;
        bit0 += word & lowBits;
        bit1 += shifted & lowBits;
        both += word & shifted & lowBits;
    }
    if ((seen & highBits) != 0) {
        return false;
    }
    const unsigned int threes = SumOfLanes(both);
    const unsigned int ones = SumOfLanes(bit0) - threes;
    const unsigned int twos = SumOfLanes(bit1) - threes;
    counts[0] += static_cast<unsigned int>(blockSize) - ones - twos - threes;
    counts[1] += ones;
    counts[2] += twos;
    counts[3] += threes;
    return true;
}

void CountBytes(const unsigned char* pixels, std::size_t size, PixelCounts& counts,
                void (*unexpected)(unsigned char))
{
    for (std::size_t i = 0; i < size; ++i) {
        if (pixels[i] < counts.size()) {
            ++counts[pixels[i]];
        } else {
            unexpected(pixels[i]);
        }
    }
}

}  // namespace

PixelCounts CountPixels(const unsigned char* pixels, std::size_t size,
                        void (*unexpected)(unsigned char value))
{
    PixelCounts counts{};
    while (size > 0) {
        const std::size_t step = std::min(size, blockSize);
        if (step < blockSize || !CountBlock(pixels, counts)) {
            CountBytes(pixels, step, counts, unexpected);
        }
        pixels += step;
        size -= step;
    }
    return counts;
}
