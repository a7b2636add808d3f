#include "view/colours.h"

#include <algorithm>
#include <cstdlib>

namespace view {

namespace {

constexpr int one = 65536;  // Q16
constexpr int half = one / 2;

/// Weights of BT.601 for the studio range: Y has 219 steps, Cb and Cr have 224.
constexpr int lumaWeight = 76309;  // 255 / 219
constexpr int redOfCr = 104597;    // 255 / 224 * 2 * (1 - 0.299)
constexpr int greenOfCb = 25675;   // 255 / 224 * 2 * (1 - 0.114) * 0.114 / 0.587
constexpr int greenOfCr = 53279;   // 255 / 224 * 2 * (1 - 0.299) * 0.299 / 0.587
constexpr int blueOfCb = 132201;   // 255 / 224 * 2 * (1 - 0.114)

unsigned char Rounded(int sum)
{
    return static_cast<unsigned char>(std::clamp(sum + half, 0, 255 * one) / one);
}

/// \param luma, cb, cr  two times Y - 16, Cb - 128 and Cr - 128
Colour ColourOfDoubles(int luma, int cb, int cr)
{
    const int grey = lumaWeight * luma;
    return {Rounded((grey + redOfCr * cr) / 2),
            Rounded((grey - greenOfCb * cb - greenOfCr * cr) / 2),
            Rounded((grey + blueOfCb * cb) / 2)};
}

int Distance(const Colour& a, const Colour& b)
{
    return std::max(
        {std::abs(a.red - b.red), std::abs(a.green - b.green), std::abs(a.blue - b.blue)});
}

/// Two times the middle of the sums that the console truncates towards zero to this difference.
int Middle(int difference)
{
    return 2 * difference + (difference > 0 ? 1 : difference < 0 ? -1 : 0);
}

unsigned char Moved(unsigned char part, int step)
{
    return static_cast<unsigned char>(std::clamp(part + step, 0, 255));
}

}  // namespace

Colour ColourOf(const Entry& entry)
{
    return entry.y == 0
               ? transparent
               : ColourOfDoubles(2 * (entry.y - 16), 2 * (entry.cb - 128), 2 * (entry.cr - 128));
}

Entry NearestEntry(const Colour& colour)
{
    const int r = colour.red;
    const int g = colour.green;
    const int b = colour.blue;
    // The weights of BT.601, 0.299, 0.587 and 0.114 for Y, times 219 / 255 and 224 / 255.
    return {Rounded(16 * one + 16829 * r + 33039 * g + 6416 * b),
            Rounded(128 * one - 9714 * r - 19070 * g + 28784 * b),
            Rounded(128 * one + 28784 * r - 24103 * g - 4681 * b)};
}

Entry ConsoleEntry(const Colour& colour)
{
    constexpr int q15 = 32768;
    const int r = colour.red;
    const int g = colour.green;
    const int b = colour.blue;
    return {static_cast<unsigned char>((3176 * b + 16425 * g + 8432 * r) / q15 + 16),
            static_cast<unsigned char>((14345 * b - 9527 * g - 4818 * r) / q15 + 128),
            static_cast<unsigned char>((-2300 * b - 12045 * g + 14345 * r) / q15 + 128)};
}

Colour ConsoleColour(const Entry& entry)
{
    const Colour first =
        ColourOfDoubles(2 * (entry.y - 16) + 1, Middle(entry.cb - 128), Middle(entry.cr - 128));
    if (ConsoleEntry(first) == entry) {
        return first;
    }
    const Colour wanted = ColourOf(entry);
    Colour best = first;
    int least = Distance(ColourOf(ConsoleEntry(first)), wanted);
    for (int i = 0; i < 27; ++i) {
        const Colour colour{Moved(first.red, i / 9 - 1), Moved(first.green, i / 3 % 3 - 1),
                            Moved(first.blue, i % 3 - 1)};
        const Entry made = ConsoleEntry(colour);
        if (made == entry) {
            return colour;
        }
        const int distance = Distance(ColourOf(made), wanted);
        if (distance < least) {
            least = distance;
            best = colour;
        }
    }
    return best;
}

}  // namespace view
