#include "tap/text_lines.h"

#include <gtest/gtest.h>

#include <vector>

using namespace tap;
using recording::Notification;
using recording::NotificationKind;

namespace {

std::string TextOf(const Notification& notification)
{
    std::string text;
    AppendText(text, notification);
    return text;
}

std::string BitmapText(const std::vector<unsigned char>& bytes, unsigned int format)
{
    Notification bitmap;
    bitmap.regionId = 3;
    bitmap.subtitleFormat = format;
    bitmap.data = {bytes.data(), bytes.size()};
    return TextOf(bitmap);
}

TEST(TextLine, ShowsABitmap)
{
    EXPECT_EQ(BitmapText({0, 1, 255}, 2), "data region 3 cif size 3: 0001ff\n");
    EXPECT_EQ(BitmapText({}, 0), "data region 3 hd size 0\n");
    EXPECT_EQ(BitmapText({9}, 1), "data region 3 sd size 1: 09\n");
    EXPECT_EQ(BitmapText({9}, 3), "data region 3 format 3 size 1: 09\n");
}

TEST(TextLine, ShowsTheFirstEightBytes)
{
    EXPECT_EQ(BitmapText({1, 2, 3, 4, 5, 6, 7, 8}, 2),
              "data region 3 cif size 8: 0102030405060708\n");
    EXPECT_EQ(BitmapText({1, 2, 3, 4, 5, 6, 7, 8, 9}, 2),
              "data region 3 cif size 9: 0102030405060708...\n");
}

TEST(TextLine, ShowsVisibility)
{
    Notification visibility;
    visibility.kind = NotificationKind::RegionVisibility;
    visibility.regionId = 255;
    EXPECT_EQ(TextOf(visibility), "visibility region 255 hidden\n");
    visibility.visible = true;
    EXPECT_EQ(TextOf(visibility), "visibility region 255 visible\n");
}

TEST(TextLine, ShowsAPalette)
{
    const std::vector<unsigned char> bytes = {0x10, 0xFF};
    Notification palette;
    palette.kind = NotificationKind::Palette;
    palette.regionId = 2;
    palette.backgroundCode = 31;
    palette.data = {bytes.data(), bytes.size()};
    EXPECT_EQ(TextOf(palette), "palette region 2 nofill background 31 size 2: 10ff\n");
    palette.fill = true;
    EXPECT_EQ(TextOf(palette), "palette region 2 fill background 31 size 2: 10ff\n");
}

std::string StampsOf(TimeForm form)
{
    TimeStamps stamps(form);
    std::string text;
    stamps.Append(text, {5000000, 1763730000123456});
    stamps.Append(text, {5000001, 951868799999999});
    stamps.Append(text, {3605200001, 0});
    return text;
}

TEST(TimeStamp, IsTheTimeOfDay)
{
    EXPECT_EQ(
        StampsOf(TimeForm::Absolute),
        "2025-11-21T13:00:00.123456Z 2000-02-29T23:59:59.999999Z 1970-01-01T00:00:00.000000Z ");
}

TEST(TimeStamp, IsTheTimeSinceTheLastLine)
{
    EXPECT_EQ(StampsOf(TimeForm::Delta), "0.000000 0.000001 3600.200000 ");
}

TEST(TimeStamp, IsTheTimeSinceTheFirstLine)
{
    EXPECT_EQ(StampsOf(TimeForm::Zero), "0.000000 0.000001 3600.200001 ");
}

}  // namespace
