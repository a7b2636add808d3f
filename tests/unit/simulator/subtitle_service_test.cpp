#include "simulator/service/subtitle_service.h"

#include "tests/unit/simulator/decode.h"
#include "tests/unit/simulator/recording_audience.h"

#include <gtest/gtest.h>

namespace {

using Published = std::vector<std::string>;

std::string Bitmap(unsigned int region, unsigned int format, const std::string& pixels)
{
    return NotificationBytes(format <= 2 ? 2 + format : 12, 15129,
                             RegionDataRecord(region, format, pixels));
}

/// A bitmap in its three formats.
Published Bitmaps(unsigned int region, const std::string& sent, const std::string& cif)
{
    return {Bitmap(region, 0, sent), Bitmap(region, 1, sent), Bitmap(region, 2, cif)};
}

std::string Visibility(unsigned int region, bool visible)
{
    return NotificationBytes(6, 15132, VisibilityRecord(region, visible));
}

std::string Palette(const std::string& record) { return NotificationBytes(10, 15133, record); }

class SubtitleService : public testing::Test {
protected:
    /// Serves one request and makes its publications.
    bool Accepts(unsigned int messageId, const std::string& payload = "")
    {
        Request request;
        Decode(messageId, payload, request);
        const Outcome outcome = sim::Serve(request, service, subscriptions);
        audience.published.clear();
        Budget budget;
        for (unsigned int record = outcome.next; record < outcome.end;) {
            record = service.Publish(record, audience, budget);
        }
        return outcome.result == Result::Accepted;
    }

    /// The publications of an accepted request.
    Published PublishedBy(unsigned int messageId, const std::string& payload = "")
    {
        EXPECT_TRUE(Accepts(messageId, payload)) << messageId;
        return audience.published;
    }

    /// What a scenario does.
    SharedFrame PublishBitmap(unsigned int region, unsigned int format, const std::string& pixels)
    {
        RegionDataItem record;
        record.regionId = static_cast<unsigned char>(region);
        record.subtitleFormat = static_cast<unsigned char>(format);
        record.data.assign(pixels.begin(), pixels.end());
        const unsigned int subscription = subscriptions::ForFormat(record.subtitleFormat);
        const SharedFrame frame = EncodeNotification(subscription, record);
        EXPECT_EQ(service.Publish(subscription, frame, audience), 1u);
        return frame;
    }

    sim::Subscriptions subscriptions;
    RecordingAudience audience;
    sim::SubtitleService service;
};

TEST_F(SubtitleService, PublishesABitmapInThreeFormats)
{
    const std::string sent = Bytes({0, 1, 2, 3, 4, 7, 254, 255});
    const std::string cif = Bytes({0, 1, 2, 3, 0, 3, 2, 3});
    EXPECT_EQ(PublishedBy(messages::setRegionData, RegionDataRecord(3, 200, sent)),
              Bitmaps(3, sent, cif));
}

TEST_F(SubtitleService, KeepsNothingOfRegionsOutside1To14)
{
    for (unsigned int region = 0; region < 256; ++region) {
        SCOPED_TRACE(region);
        const bool exists = region >= 1 && region <= 14;
        EXPECT_EQ(Accepts(messages::setRegionData, RegionDataRecord(region, 0, "a")), exists);
        EXPECT_EQ(Accepts(messages::setRegionVisibility, VisibilityRecord(region, true)), exists);
        EXPECT_EQ(Accepts(messages::setPaletteData, PaletteRecord(region, 0, true, "a")), exists);
        EXPECT_EQ(Accepts(messages::invertRegionData, U32(region)), exists);
    }
    // Cut to 8 bits this would be region 1.
    EXPECT_FALSE(Accepts(messages::invertRegionData, U32(257)));
    EXPECT_FALSE(Accepts(messages::invertRegionData, U32(4294967295)));
    EXPECT_EQ(PublishedBy(messages::refreshRegions).size(), 14u * 5);
}

TEST_F(SubtitleService, RefreshesEverythingInOrderOfRegion)
{
    const std::string late = PaletteRecord(14, 1, false, "pal");
    const std::string early = PaletteRecord(2, 9, true, "");
    Accepts(messages::setPaletteData, late);
    Accepts(messages::setRegionVisibility, VisibilityRecord(2, false));
    Accepts(messages::setRegionData, RegionDataRecord(14, 0, "old"));
    Accepts(messages::setPaletteData, early);
    Accepts(messages::setRegionData, RegionDataRecord(2, 0, "\1"));
    Accepts(messages::setRegionData, RegionDataRecord(14, 0, "\2"));
    Published expected = Bitmaps(2, "\1", "\1");
    expected.push_back(Visibility(2, false));
    expected.push_back(Palette(early));
    for (const std::string& bitmap : Bitmaps(14, "\2", "\2")) {
        expected.push_back(bitmap);
    }
    expected.push_back(Palette(late));
    EXPECT_EQ(PublishedBy(messages::refreshRegions), expected);
}

TEST_F(SubtitleService, KeepsWhatIsPublished)
{
    RegionVisItem visibility;
    visibility.regionId = 3;
    visibility.visible = true;
    PaletteItem palette;
    palette.regionId = 2;
    palette.backgroundCode = 31;
    palette.fill = true;
    palette.paletteData = {0x10, 0x20};
    service.Publish(6, EncodeNotification(6, visibility), audience);
    service.Publish(10, EncodeNotification(10, palette), audience);
    const SharedFrame frame = PublishBitmap(3, 255, "x");
    PublishBitmap(3, 1, Bytes({200}));
    PublishBitmap(3, 2, Bytes({200}));
    for (const unsigned int other : {0u, 15u, 255u}) {
        PublishBitmap(other, 0, "x");
    }
    EXPECT_EQ(
        PublishedBy(messages::refreshRegions),
        (Published{Palette(PaletteRecord(2, 31, true, "\x10\x20")), Bitmap(3, 1, Bytes({200})),
                   Bitmap(3, 2, Bytes({200})), Bitmap(3, 255, "x"), Visibility(3, true)}));
    const unsigned int record = 2 * sim::SubtitleService::recordsOfARegion + 255;
    EXPECT_EQ(service.Find(record), frame) << "a copy";
    EXPECT_FALSE(service.IsKept(record - 1));
}

TEST_F(SubtitleService, InvertsEachFormatThatWasPublished)
{
    EXPECT_EQ(PublishedBy(messages::invertRegionData, U32(3)), Published{}) << "it has no bitmap";
    const std::string sent = Bytes({0, 1, 200});
    Accepts(messages::setRegionData, RegionDataRecord(3, 0, Bytes({7})));
    PublishBitmap(3, 1, sent);
    PublishBitmap(3, 2, sent);
    PublishBitmap(3, 200, sent);
    const Published inverted{Bitmap(3, 0, Bytes({248})), Bitmap(3, 1, Bytes({255, 254, 55})),
                             Bitmap(3, 2, Bytes({3, 2, 3})), Bitmap(3, 200, Bytes({255, 254, 55}))};
    EXPECT_EQ(PublishedBy(messages::invertRegionData, U32(3)), inverted);
    EXPECT_EQ(PublishedBy(messages::refreshRegions), inverted);
    EXPECT_EQ(PublishedBy(messages::invertRegionData, U32(3)),
              (Published{Bitmap(3, 0, Bytes({7})), Bitmap(3, 1, sent),
                         Bitmap(3, 2, Bytes({0, 1, 0})), Bitmap(3, 200, sent)}));
}

TEST_F(SubtitleService, ReplacesThreeFormatsByASentBitmap)
{
    for (const unsigned int format : {0u, 1u, 2u, 3u}) {
        PublishBitmap(3, format, Bytes({9}));
    }
    Accepts(messages::invertRegionData, U32(3));
    Accepts(messages::setRegionData, RegionDataRecord(3, 0, Bytes({5})));
    Published expected = Bitmaps(3, Bytes({5}), Bytes({1}));
    expected.push_back(Bitmap(3, 3, Bytes({246})));
    EXPECT_EQ(PublishedBy(messages::refreshRegions), expected);
    PublishBitmap(3, 2, Bytes({9}));
    expected[2] = Bitmap(3, 2, Bytes({9}));
    EXPECT_EQ(PublishedBy(messages::refreshRegions), expected);
}

TEST_F(SubtitleService, KeepsTheNewestOfClientAndPublication)
{
    RegionVisItem visibility;
    visibility.regionId = 3;
    const SharedFrame hidden = EncodeNotification(6, visibility);
    service.Publish(6, hidden, audience);
    Accepts(messages::setRegionVisibility, VisibilityRecord(3, true));
    EXPECT_EQ(PublishedBy(messages::refreshRegions), Published{Visibility(3, true)});
    service.Publish(6, hidden, audience);
    EXPECT_EQ(PublishedBy(messages::refreshRegions), Published{Visibility(3, false)});
}

TEST_F(SubtitleService, KeepsTheStateOfSixSensors)
{
    EXPECT_FALSE(service.SensorIsOn(5));
    EXPECT_TRUE(Accepts(messages::sendSensorUpdate, U32(5) + Bytes({1})));
    EXPECT_TRUE(service.SensorIsOn(5));
    EXPECT_FALSE(service.SensorIsOn(4));
    EXPECT_TRUE(Accepts(messages::sendSensorUpdate, U32(5) + Bytes({0})));
    EXPECT_FALSE(service.SensorIsOn(5));
    EXPECT_FALSE(Accepts(messages::sendSensorUpdate, U32(6) + Bytes({1})));
    EXPECT_FALSE(Accepts(messages::sendSensorUpdate, U32(4294967295) + Bytes({1})));
}

}  // namespace
