// The independent model of tests/sessions/model converts tables of many colours.

#include "cli/SubtitleMgrCli.h"
#include "tests/unit/captured_console.h"

#include <PaletteItem.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

class Palette : public testing::Test {
protected:
    /// \return the printed text
    std::string Convert(const Bytes& table)
    {
        item.paletteData = table;
        return OutputOf([&] { client.ConvertPalette(item); });
    }

    SubtitleMgrCli client;
    PaletteItem item;
};

TEST_F(Palette, ConvertsBlackWhiteAndThePrimaryColours)
{
    // Blue: Y = 3176 * 255 / 32768 = 24.7; Cb = 14345 * 255 / 32768 = 111.6; Cr = -17.9.
    // Green: Y = 127.8; Cb = -74.1; Cr = -93.7. Red: Y = 65.6; Cb = -37.5; Cr = 111.6.
    EXPECT_EQ(Convert({255, 255, 255, 1, 0, 0, 0, 2, 255, 0, 0, 3, 0, 255, 0, 4, 0, 0, 255, 5}),
              "Converting palette of size 20...Done\n");
    EXPECT_EQ(item.paletteData, (Bytes{234, 128, 128, 1,  16, 128, 128, 2,  40,  239,
                                       111, 3,   143, 54, 35, 4,   81,  91, 239, 5}));
}

TEST_F(Palette, KeepsTheBytesAfterItsLastWholeEntry)
{
    EXPECT_EQ(Convert({0, 0, 0, 5, 1, 2, 3}), "Converting palette of size 4...Done\n");
    EXPECT_EQ(item.paletteData, (Bytes{16, 128, 128, 5, 1, 2, 3}));
}

}  // namespace
