#include "tests/harness/DecodedPng.h"
#include "view/png_encoder.h"

using namespace view;

namespace {

constexpr Colour black{0, 0, 0};
constexpr Colour white{255, 255, 255};

using Bytes = std::vector<unsigned char>;
using Colours = std::vector<Colour>;

/// 0 transparent, 1 black, 2 white; the fourth bytes differ.
const Bytes palette{0, 128, 128, 255, 16, 128, 128, 0, 235, 128, 128, 77};

Region RegionOf(Bytes bitmap, Bytes entries, unsigned int format = 0)
{
    return {std::move(bitmap), format, std::move(entries), false};
}

DecodedPng Png(const Picture& picture, unsigned int scale = 1)
{
    return DecodedPng(EncodePng(picture, scale));
}

TEST(Picture, HasThePaletteApplied)
{
    const DecodedPng png = Png(PictureOf(RegionOf({0, 1, 2, 2, 1, 0}, palette), 3));
    EXPECT_EQ(png.width, 3u);
    EXPECT_EQ(png.height, 2u);
    EXPECT_EQ(png.pixels, (Colours{transparent, black, white, white, black, transparent}));
    EXPECT_EQ(png.colourType, PNG_COLOR_TYPE_PALETTE);
}

TEST(Picture, MarksBytesWithoutAnEntry)
{
    const Bytes cut(palette.begin(), palette.end() - 1);
    EXPECT_EQ(Png(PictureOf(RegionOf({1, 2, 3, 255}, palette), 4)).pixels,
              (Colours{black, white, {255, 0, 255}, {255, 0, 255}}));
    EXPECT_EQ(Png(PictureOf(RegionOf({1, 2}, cut), 2)).pixels, (Colours{black, {255, 0, 255}}));
}

TEST(Picture, MarksCifBytesAbove3)
{
    Bytes whites;
    for (int i = 0; i < 256; ++i) {
        whites.insert(whites.end(), {235, 128, 128, 0});
    }
    EXPECT_EQ(Png(PictureOf(RegionOf({3, 4, 255}, whites, 2), 3)).pixels,
              (Colours{white, {255, 0, 255}, {255, 0, 255}}));
    EXPECT_EQ(Png(PictureOf(RegionOf({3, 4, 255}, whites, 1), 3)).pixels,
              (Colours{white, white, white}));
}

TEST(Picture, IsGreyWithoutAPalette)
{
    EXPECT_EQ(Png(PictureOf(RegionOf({0, 1, 2, 3}, {}), 4)).pixels,
              (Colours{black, {85, 85, 85}, {170, 170, 170}, white}));
    EXPECT_EQ(Png(PictureOf(RegionOf({0, 3, 4, 255}, {}), 4)).pixels,
              (Colours{black, {3, 3, 3}, {4, 4, 4}, white}));
    EXPECT_EQ(Png(PictureOf(RegionOf({1, 4}, {}, 2), 2)).pixels,
              (Colours{{85, 85, 85}, {255, 0, 255}}));
}

TEST(Picture, EndsAShortRowTransparently)
{
    const DecodedPng png = Png(PictureOf(RegionOf({1, 1, 1, 2}, palette), 3));
    EXPECT_EQ(png.pixels, (Colours{black, black, black, white, transparent, transparent}));
    EXPECT_EQ(Png(PictureOf(RegionOf({3}, {}), 2)).pixels, (Colours{white, transparent}));
}

TEST(Picture, NeedsNoIndexWhenAllAreUsed)
{
    Bytes all;
    for (int i = 0; i < 256; ++i) {
        all.push_back(static_cast<unsigned char>(i));
    }
    const DecodedPng full = Png(PictureOf(RegionOf(all, {}), 256));
    EXPECT_EQ(full.colourType, PNG_COLOR_TYPE_PALETTE);
    const DecodedPng png = Png(PictureOf(RegionOf(all, {}), 257));
    EXPECT_EQ(png.colourType, PNG_COLOR_TYPE_RGB_ALPHA);
    EXPECT_EQ(png.pixels[255], white);
    EXPECT_EQ(png.pixels[256], transparent);
}

TEST(Picture, IsCompressedQuickly)
{
    const std::string png = EncodePng({2, {black, white}, {0, 1, 0, 1}}, 1);
    EXPECT_EQ(png[png.find("IDAT") + 5] & 0xC0, 0);  // the fastest level of zlib
}

TEST(Picture, IsEnlarged)
{
    EXPECT_EQ(Png(PictureOf(RegionOf({1, 2}, palette), 1), 2).pixels,
              (Colours{black, black, black, black, white, white, white, white}));
}

TEST(Picture, IsStacked)
{
    const Picture one = PictureOf(RegionOf({1, 2}, palette), 2);
    const Picture two = PictureOf(RegionOf({3, 0, 9}, {235, 128, 128, 0}), 2);
    EXPECT_EQ(Stack({one, two}).colours.size(), 4u);
    const DecodedPng png = Png(Stack({one, two}));
    EXPECT_EQ(png.height, 3u);
    EXPECT_EQ(png.pixels,
              (Colours{black, white, {255, 0, 255}, white, {255, 0, 255}, transparent}));
    EXPECT_EQ(png.colourType, PNG_COLOR_TYPE_PALETTE);
}

}  // namespace
