#include "tap/text_lines.h"

#include "tap/rates.h"

#include <gtest/gtest.h>

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

TEST(TextLine, ShowsTheFirstEightBytesOfABitmap)
{
    const unsigned char bytes[] = {1, 2, 3, 4, 5, 6, 7, 0xFF, 9};
    Notification bitmap;
    bitmap.regionId = 3;
    bitmap.subtitleFormat = 2;
    bitmap.data = {bytes, 8};
    EXPECT_EQ(TextOf(bitmap), "data region 3 cif size 8: 01020304050607ff\n");
    bitmap.data = {bytes, 9};
    EXPECT_EQ(TextOf(bitmap), "data region 3 cif size 9: 01020304050607ff...\n");
    bitmap.subtitleFormat = 3;
    bitmap.data = {bytes, 0};
    EXPECT_EQ(TextOf(bitmap), "data region 3 format 3 size 0\n");
}

TEST(TextLine, ShowsFlagsInWords)
{
    Notification notification;
    notification.kind = NotificationKind::RegionVisibility;
    EXPECT_EQ(TextOf(notification), "visibility region 0 hidden\n");
    notification.kind = NotificationKind::Palette;
    EXPECT_EQ(TextOf(notification), "palette region 0 nofill background 0 size 0\n");
}

TEST(TimeStamp, IsOfTheDayOrSinceTheLastOrTheFirstLine)
{
    for (const auto& [form, expected] :
         {std::pair(TimeForm::Absolute, "2025-11-21T13:00:00.123456Z 2000-02-29T23:59:59.999999Z "
                                        "1970-01-01T00:00:00.000000Z "),
          std::pair(TimeForm::Delta, "0.000000 0.000001 3600.200000 "),
          std::pair(TimeForm::Zero, "0.000000 0.000001 3600.200001 ")}) {
        TimeStamps stamps(form);
        std::string text;
        stamps.Append(text, {5000000, 1763730000123456});
        stamps.Append(text, {5000001, 951868799999999});
        stamps.Append(text, {3605200001, 0});
        EXPECT_EQ(text, expected);
    }
}

TEST(Rates, CountEachRegionAndBeginAgainAfterEachLine)
{
    Rates rates;
    rates.Add(3, 100);
    rates.Add(255, 2);
    rates.Add(3, 50);
    std::string text;
    rates.AppendText(text);
    rates.AppendText(text);
    EXPECT_EQ(text, "region 3: messages 2, bytes 150; region 255: messages 1, bytes 2\nnothing\n");
}

TEST(Rates, CanBeJson)
{
    Rates rates;
    std::string text;
    rates.AppendJson(text, {1, 2});
    rates.Add(0, 1);
    rates.Add(1, 7);
    rates.AppendJson(text, {1000001, 1000002});
    EXPECT_EQ(text,
              R"({"monoUs":1,"wallUs":2,"regions":[]})"
              "\n"
              R"({"monoUs":1000001,"wallUs":1000002,"regions":[)"
              R"({"regionId":0,"messages":1,"bytes":1},{"regionId":1,"messages":1,"bytes":7}]})"
              "\n");
}

}  // namespace
