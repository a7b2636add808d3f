#include "view/colours.h"
#include "tests/harness/DecodedPng.h"
#include "tests/harness/build_kind.h"
#include "tests/unit/captured_console.h"

#include "cli/SubtitleMgrCli.h"
#include <PaletteItem.h>

#include <cmath>

using namespace view;

namespace {

TEST(Colours, AreThoseOfStudioRangeEntries)
{
    const struct {
        Entry entry;
        Colour colour;
    } rows[] = {
        {{16, 128, 128}, {0, 0, 0}},  {{235, 128, 128}, {255, 255, 255}},
        {{81, 90, 240}, {254, 0, 0}}, {{145, 54, 34}, {0, 255, 1}},
        {{1, 128, 128}, {0, 0, 0}},   {{255, 128, 128}, {255, 255, 255}},
        {{0, 255, 0}, transparent},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ColourOf(row.entry), row.colour) << row.entry;
    }
    EXPECT_EQ(ColourOf({1, 0, 0}).alpha, 255);
}

/// Each of 256 values or, where sanitizers make it slow, of a choice with both ends.
constexpr int stride = isSanitized ? 51 : 1;

TEST(Colours, AgreeWithFloatingPointForEveryEntry)
{
    double largest = 0;
    long insideCount = 0;
    long restoredCount = 0;
    for (int y = stride; y < 256; y += stride) {
        for (int cb = 0; cb < 256; ++cb) {
            for (int cr = 0; cr < 256; ++cr) {
                const double grey = (y - 16) * 255.0 / 219;
                const double red = grey + 255.0 / 112 * 0.701 * (cr - 128);
                const double blue = grey + 255.0 / 112 * 0.886 * (cb - 128);
                const double green = (grey - 0.299 * red - 0.114 * blue) / 0.587;
                const bool isInside = std::fmin(std::fmin(red, green), blue) >= 0 &&
                                      std::fmax(std::fmax(red, green), blue) <= 255;
                if (isInside) {
                    const Entry entry{static_cast<unsigned char>(y), static_cast<unsigned char>(cb),
                                      static_cast<unsigned char>(cr)};
                    const Colour colour = ColourOf(entry);
                    largest = std::fmax(largest, std::fabs(colour.red - red));
                    largest = std::fmax(largest, std::fabs(colour.green - green));
                    largest = std::fmax(largest, std::fabs(colour.blue - blue));
                    ++insideCount;
                    restoredCount += NearestEntry(colour) == entry ? 1 : 0;
                }
            }
        }
    }
    EXPECT_LT(largest, 0.501);
    EXPECT_GT(insideCount, 0);
    EXPECT_EQ(restoredCount, insideCount);
}

int Step(const Colour& a, const Colour& b)
{
    const auto step = [](int x, int y) { return x < y ? y - x : x - y; };
    return std::max({step(a.red, b.red), step(a.green, b.green), step(a.blue, b.blue)});
}

Colour ColourOfNumber(unsigned int number)
{
    return {static_cast<unsigned char>(number >> 16), static_cast<unsigned char>(number >> 8),
            static_cast<unsigned char>(number)};
}

TEST(Colours, ComeBackFromKey5OfTheConsole)
{
    // All colours or, where sanitizers make it slow, a choice that has some with the largest step.
    constexpr unsigned int step = isSanitized ? 125 : 1;
    std::vector<Entry> entries;
    PaletteItem item;
    for (unsigned int number = 0; number < 1u << 24; number += step) {
        entries.push_back(NearestEntry(ColourOfNumber(number)));
        const Colour given = ConsoleColour(entries.back());
        item.paletteData.insert(item.paletteData.end(), {given.blue, given.green, given.red, 0});
    }
    SubtitleMgrCli client;
    OutputOf([&] { client.ConvertPalette(item); });
    int largest = 0;
    int largestExact = 0;
    unsigned int exactCount = 0;
    for (unsigned int i = 0; i < entries.size(); ++i) {
        const unsigned char* const bytes = item.paletteData.data() + std::size_t{4} * i;
        const Entry made{bytes[0], bytes[1], bytes[2]};
        const Colour colour = ColourOfNumber(step * i);
        largest = std::max(largest, Step(ColourOf(made), colour));
        largestExact = std::max(largestExact, Step(ColourOf(entries[i]), colour));
        exactCount += made == entries[i] ? 1u : 0u;
    }
    EXPECT_EQ(largestExact, 2);
    EXPECT_EQ(largest, 4);
    EXPECT_GT(exactCount, entries.size() / 100 * 97);
}

}  // namespace
