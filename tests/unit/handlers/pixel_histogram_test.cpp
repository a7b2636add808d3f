#include "handlers/pixel_histogram.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <random>
#include <vector>

namespace {

std::vector<unsigned char>* unexpectedValues = nullptr;

void Note(unsigned char value) { unexpectedValues->push_back(value); }

struct Histogram {
    PixelCounts counts{};
    std::vector<unsigned char> unexpected;

    bool operator==(const Histogram& other) const
    {
        return counts == other.counts && unexpected == other.unexpected;
    }
};

Histogram Counted(const unsigned char* pixels, std::size_t size)
{
    Histogram result;
    unexpectedValues = &result.unexpected;
    result.counts = CountPixels(pixels, size, Note);
    return result;
}

/// Counts byte by byte.
Histogram Expected(const unsigned char* pixels, std::size_t size)
{
    Histogram result;
    for (std::size_t i = 0; i < size; ++i) {
        if (pixels[i] < 4) {
            ++result.counts[pixels[i]];
        } else {
            result.unexpected.push_back(pixels[i]);
        }
    }
    return result;
}

/// All lengths up to 300 at all alignments, and some longer than a block. Each heap buffer ends
/// with the data, so that a sanitizer reports a read of one byte too many.
/// \param oddOneIn  one of this many pixels has any value, the others have 0 to 3
void CompareManyBuffers(unsigned int oddOneIn)
{
    std::mt19937 random(20260131);
    for (std::size_t length = 0; length <= 2100; length += length < 300 ? 1 : 97) {
        for (std::size_t shift = 0; shift < 8; ++shift) {
            const std::unique_ptr<unsigned char[]> buffer(new unsigned char[shift + length]);
            for (std::size_t i = 0; i < shift + length; ++i) {
                const auto number = static_cast<unsigned int>(random());
                const bool isOdd = oddOneIn != 0 && (number >> 8) % oddOneIn == 0;
                buffer[i] = static_cast<unsigned char>(isOdd ? number : number & 3u);
            }
            const unsigned char* data = buffer.get() + shift;
            ASSERT_TRUE(Counted(data, length) == Expected(data, length))
                << length << " bytes, shifted by " << shift;
        }
    }
}

TEST(PixelHistogram, CountsAsAPlainLoopDoes)
{
    for (const unsigned int oddOneIn : {0u, 2u}) {
        CompareManyBuffers(oddOneIn);
    }
}

TEST(PixelHistogram, FindsEachUnexpectedBitAtEachPlace)
{
    for (std::size_t place = 0; place < 1100; ++place) {
        std::vector<unsigned char> pixels(1100, 3);
        pixels[place] = static_cast<unsigned char>(4u << place / 8 % 6);
        const Histogram result = Counted(pixels.data(), pixels.size());
        ASSERT_EQ(result.counts, (PixelCounts{0, 0, 0, 1099})) << place;
        ASSERT_EQ(result.unexpected, std::vector<unsigned char>{pixels[place]}) << place;
    }
}

}  // namespace
