#include "handlers/pixel_histogram.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

// A bitmap is almost always free of values above 3, so it is counted in blocks of words, eight
// pixels a word, in the byte lanes of three sums: of the values, of their upper bits, and of those
// that have both bits. All lanes count the same thing, so the order of the bytes in a word does not
// matter. A block in which some byte has a higher bit is counted again, byte by byte.

namespace {

constexpr std::size_t wordSize = sizeof(std::uint64_t);
constexpr std::size_t wordsInBlock = 64;  // a lane grows by up to 3 a word, and holds 255
constexpr std::size_t blockSize = wordsInBlock * wordSize;
static_assert(3 * wordsInBlock <= 255, "a lane of a sum must not overflow");

constexpr std::uint64_t lowBits = 0x0101010101010101;
constexpr std::uint64_t highBits = 0xFCFCFCFCFCFCFCFC;

unsigned int SumOfLanes(std::uint64_t lanes)
{
    constexpr std::uint64_t evenLanes = 0x00FF00FF00FF00FF;
    const std::uint64_t pairs = (lanes & evenLanes) + ((lanes >> 8) & evenLanes);
    return static_cast<unsigned int>((pairs * 0x0001000100010001) >> 48);
}

/// \return false when the block holds a value above 3; \p counts is then as it was
bool CountBlock(const unsigned char* pixels, PixelCounts& counts)
{
    std::uint64_t seen = 0;
    std::uint64_t values = 0;
    std::uint64_t uppers = 0;
    std::uint64_t boths = 0;
    for (std::size_t i = 0; i < wordsInBlock; ++i) {
        std::uint64_t word;
        std::memcpy(&word, pixels + i * wordSize, wordSize);
        const std::uint64_t upper = (word >> 1) & lowBits;
        seen |= word;
        values += word;
        uppers += upper;
        boths += word & upper;
    }
    if ((seen & highBits) != 0) {
        return false;
    }
    const unsigned int threes = SumOfLanes(boths);
    const unsigned int twos = SumOfLanes(uppers) - threes;
    const unsigned int ones = SumOfLanes(values) - 2 * twos - 3 * threes;
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
