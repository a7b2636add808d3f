#include "view/colours.h"
#include "tests/harness/DecodedPng.h"
#include "tests/harness/build_kind.h"
#include "tests/unit/captured_console.h"

#include "cli/SubtitleMgrCli.h"
#include <PaletteItem.h>

#include <cmath>
#include <map>

using namespace view;

namespace {

TEST(Colours, AreThoseOfStudioRangeEntries)
{
    // R = 1.164383 (Y - 16) + 1.596027 (Cr - 128)
    // G = 1.164383 (Y - 16) - 0.391762 (Cb - 128) - 0.812968 (Cr - 128)
    // B = 1.164383 (Y - 16) + 2.017232 (Cb - 128)
    EXPECT_EQ(ColourOf({16, 128, 128}), (Colour{0, 0, 0}));
    EXPECT_EQ(ColourOf({235, 128, 128}), (Colour{255, 255, 255}));  // 219 x 1.164383 = 255.0
    EXPECT_EQ(ColourOf({126, 128, 128}), (Colour{128, 128, 128}));  // 110 x 1.164383 = 128.1
    // 65 x 1.164383 = 75.7. R: + 112 x 1.596027 = 254.4; G: + 38 x 0.391762 - 112 x 0.812968 =
    // -0.5; B: - 38 x 2.017232 = -1.0
    EXPECT_EQ(ColourOf({81, 90, 240}), (Colour{254, 0, 0}));
    // 129 x 1.164383 = 150.2. R: - 94 x 1.596027 = 0.2; G: + 74 x 0.391762 + 94 x 0.812968 = 255.6;
    // B: - 74 x 2.017232 = 0.9
    EXPECT_EQ(ColourOf({145, 54, 34}), (Colour{0, 255, 1}));
    // 25 x 1.164383 = 29.1. R: - 18 x 1.596027 = 0.4; G: - 112 x 0.391762 + 18 x 0.812968 = -0.1;
    // B: + 112 x 2.017232 = 255.04
    EXPECT_EQ(ColourOf({41, 240, 110}), (Colour{0, 0, 255}));
    // 90 x 1.164383 = 104.8. R: + 32 x 1.596027 = 155.9; G: - 10 x 0.391762 - 32 x 0.812968 = 74.9;
    // B: + 10 x 2.017232 = 125.0
    EXPECT_EQ(ColourOf({106, 138, 160}), (Colour{156, 75, 125}));
}

TEST(Colours, AreCutAtBlackAndWhite)
{
    EXPECT_EQ(ColourOf({1, 128, 128}), (Colour{0, 0, 0}));
    EXPECT_EQ(ColourOf({255, 128, 128}), (Colour{255, 255, 255}));
}

TEST(Colours, AreTransparentOnlyForAYOfZero)
{
    EXPECT_EQ(ColourOf({0, 128, 128}).alpha, 0);
    EXPECT_EQ(ColourOf({0, 255, 0}).alpha, 0);
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

constexpr unsigned int all = 1u << 24;

template <typename Triple>
Triple TripleOf(unsigned int number)
{
    return {static_cast<unsigned char>(number >> 16), static_cast<unsigned char>(number >> 8),
            static_cast<unsigned char>(number)};
}

unsigned int NumberOf(const Entry& entry)
{
    return static_cast<unsigned int>(entry.y) << 16 | static_cast<unsigned int>(entry.cb) << 8 |
           entry.cr;
}

/// The colours that key 5 of the real console makes of the palette entries of all colours.
class Console {
public:
    Console() : isNeeded(all), colours(all)
    {
        for (unsigned int i = 0; i < all; i += step) {
            isNeeded[NumberOf(NearestEntry(TripleOf<Colour>(i)))] = 1;
        }
        SubtitleMgrCli client;
        PaletteItem item;
        std::vector<unsigned char>& table = item.paletteData;
        ForNeeded([&](unsigned int number) {
            const Colour colour = ConsoleColour(TripleOf<Entry>(number));
            table.insert(table.end(), {colour.blue, colour.green, colour.red, 0});
        });
        OutputOf([&] { client.ConvertPalette(item); });
        const unsigned char* entry = table.data();
        ForNeeded([&](unsigned int number) {
            const Entry made{entry[0], entry[1], entry[2]};
            entry += 4;
            colours[number] = ColourOf(made);
            exactCount += NumberOf(made) == number ? 1 : 0;
            ++count;
        });
    }

    Colour Shown(const Entry& entry) const { return colours[NumberOf(entry)]; }

    /// Sanitizers make it slow: then a choice of the colours.
    static constexpr unsigned int step = isSanitized ? 97 : 1;

    int count = 0;
    int exactCount = 0;

private:
    template <typename Action>
    void ForNeeded(Action action)
    {
        for (unsigned int i = 0; i < all; ++i) {
            if (isNeeded[i] != 0) {
                action(i);
            }
        }
    }

    std::vector<unsigned char> isNeeded;
    std::vector<Colour> colours;
};

TEST(Colours, ComeBackFromKey5OfTheConsole)
{
    const Console console;
    int largest = 0;
    int largestExact = 0;
    for (unsigned int i = 0; i < all; i += Console::step) {
        const Colour colour = TripleOf<Colour>(i);
        const Entry entry = NearestEntry(colour);
        largest = std::max(largest, Step(console.Shown(entry), colour));
        largestExact = std::max(largestExact, Step(ColourOf(entry), colour));
    }
    EXPECT_EQ(largestExact, 2);  // the exact palette
    // The palette for key 5; only 24 of all colours reach 4.
    EXPECT_EQ(largest, isSanitized ? 3 : 4);
    EXPECT_GT(console.exactCount, console.count / 100 * 97);
}

}  // namespace
