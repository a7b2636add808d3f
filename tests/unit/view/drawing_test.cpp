#include "tests/harness/text_compare.h"
#include "view/terminal_drawing.h"

#include <gtest/gtest.h>

using namespace view;

namespace {

/// Colours: transparent, black, white, red.
Picture PictureOf(unsigned int width, std::vector<std::uint32_t> pixels)
{
    return {width, {transparent, {0, 0, 0}, {255, 255, 255}, {254, 0, 0}}, std::move(pixels)};
}

TEST(Drawing, HasTwoPixelsInABlock)
{
    // White above red, white alone, red alone, nothing, black above black, nothing.
    EXPECT_TEXT(DrawingOf(PictureOf(6, {2, 2, 0, 0, 1, 0, 3, 0, 3, 0, 1, 0}), true),
                "\x1b[38;2;255;255;255m\x1b[48;2;254;0;0m▀"
                "\x1b[49m▀"
                "\x1b[38;2;254;0;0m▄"
                " "
                "\x1b[38;2;0;0;0m\x1b[48;2;0;0;0m▀"
                "\x1b[49m \x1b[0m\n");
}

TEST(Drawing, IsBlackAndWhiteWithoutColour)
{
    EXPECT_TEXT(DrawingOf(PictureOf(6, {2, 2, 0, 0, 2, 1, 2, 1, 2, 0, 2, 1}), false), "█▀▄ █\n");
}

TEST(Drawing, DrawsAPictureOfOneColour)
{
    EXPECT_TEXT(DrawingOf(PictureOf(2, {3, 3}), false), "▀▀\n");
    EXPECT_TEXT(DrawingOf(PictureOf(2, {1, 1}), false), "\n");
    EXPECT_TEXT(DrawingOf(PictureOf(2, {0, 0}), true), "\n");
}

TEST(Drawing, ShrinksTo80Columns)
{
    // 320 x 12: blocks of 4 x 4 pixels. The first has 4 white ones of 16, the second has 3.
    std::vector<std::uint32_t> pixels(320 * 12, 0);
    for (std::size_t x = 0; x < 7; ++x) {
        pixels[x] = 2;
    }
    for (std::size_t x = 316; x < 320; ++x) {
        pixels[320 * 11 + x] = 3;
    }
    EXPECT_TEXT(DrawingOf(PictureOf(320, pixels), true),
                "\x1b[38;2;255;255;255m▀" + std::string(79, ' ') + "\x1b[0m\n" +
                    std::string(79, ' ') + "\x1b[38;2;254;0;0m▀\x1b[0m\n");
}

TEST(Drawing, ShowsTheMeanOfOpaquePixels)
{
    std::vector<std::uint32_t> pixels(320, 0);
    pixels[0] = 2;
    pixels[1] = 3;
    EXPECT_TEXT(DrawingOf(PictureOf(160, pixels), true),
                "\x1b[38;2;254;127;127m▀" + std::string(79, ' ') + "\x1b[0m\n");
}

}  // namespace
