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

/// Byte by byte, in plain words.
Histogram Expected(const unsigned char* pixels, std::size_t size)
{
    Histogram result;
    for (std::size_t i = 0; i < size; ++i) {
        switch (pixels[i]) {
        case 0: ++result.counts[0]; break;
        case 1: ++result.counts[1]; break;
        case 2: ++result.counts[2]; break;
        case 3: ++result.counts[3]; break;
        default: result.unexpected.push_back(pixels[i]); break;
        }
    }
    return result;
}

/// Bytes of a fixed random sequence, 0 to 3 except for one in \p oddOneIn, which is any byte.
class RandomPixels {
public:
    explicit RandomPixels(unsigned int oddOneIn) : odds(oddOneIn) {}

    unsigned char Next()
    {
        const auto number = static_cast<unsigned int>(sequence());
        const bool odd = odds != 0 && (number >> 8) % odds == 0;
        return static_cast<unsigned char>(odd ? number : number & 3u);
    }

private:
    std::mt19937 sequence{20260131};
    unsigned int odds;
};

/// All lengths up to 300 at all alignments, and some that span blocks, each in a heap buffer that
/// ends with the data, so that a sanitizer sees one byte too much.
void CompareManyBuffers(unsigned int oddOneIn)
{
    RandomPixels pixels(oddOneIn);
    for (std::size_t length = 0; length <= 2100; length += length < 300 ? 1 : 97) {
        for (std::size_t shift = 0; shift < 8; ++shift) {
            const std::unique_ptr<unsigned char[]> buffer(new unsigned char[shift + length]);
            for (std::size_t i = 0; i < shift + length; ++i) {
                buffer[i] = pixels.Next();
            }
            const unsigned char* data = buffer.get() + shift;
            ASSERT_TRUE(Counted(data, length) == Expected(data, length))
                << length << " bytes, shifted by " << shift;
        }
    }
}

TEST(PixelHistogram, CountsCleanBitmapsAsAPlainLoopDoes) { CompareManyBuffers(0); }

TEST(PixelHistogram, CountsRareUnexpectedValuesAsAPlainLoopDoes) { CompareManyBuffers(500); }

TEST(PixelHistogram, CountsJunkAsAPlainLoopDoes) { CompareManyBuffers(2); }

TEST(PixelHistogram, CountsABitmapOfOneValue)
{
    for (unsigned int value = 0; value < 4; ++value) {
        const std::vector<unsigned char> pixels(30720, static_cast<unsigned char>(value));
        PixelCounts expected{};
        expected[value] = 30720;
        EXPECT_EQ(Counted(pixels.data(), pixels.size()).counts, expected);
    }
}

TEST(PixelHistogram, FindsEachUnexpectedValueAtEachPlaceOfABlock)
{
    for (std::size_t place = 0; place < 1100; ++place) {
        std::vector<unsigned char> pixels(1100, 3);
        pixels[place] = static_cast<unsigned char>(4 + place % 252);
        const Histogram result = Counted(pixels.data(), pixels.size());
        ASSERT_EQ(result.counts, (PixelCounts{0, 0, 0, 1099})) << place;
        ASSERT_EQ(result.unexpected, std::vector<unsigned char>{pixels[place]}) << place;
    }
}

TEST(PixelHistogram, ReportsUnexpectedValuesOfSeveralBlocksInTheirOrder)
{
    std::vector<unsigned char> pixels(4096, 1);
    pixels[5] = 9;
    pixels[4] = 10;
    pixels[2000] = 8;
    pixels[4095] = 4;
    EXPECT_EQ(Counted(pixels.data(), pixels.size()).unexpected,
              (std::vector<unsigned char>{10, 9, 8, 4}));
}

TEST(PixelHistogram, OfNothingIsZero)
{
    EXPECT_EQ(Counted(nullptr, 0).counts, (PixelCounts{0, 0, 0, 0}));
}

}  // namespace
