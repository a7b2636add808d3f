#include "simulator/subtitle_service.h"

#include "tests/unit/simulator/decode.h"
#include "tests/unit/simulator/recording_audience.h"

#include <gtest/gtest.h>

using namespace platform;
using namespace sim;

namespace {

constexpr unsigned int regionData = 15129;
constexpr unsigned int visibility = 15132;
constexpr unsigned int palette = 15133;

class ASubtitleService : public testing::Test {
protected:
    /// Serves one request and publishes what it brings about.
    Result Serve(unsigned int messageId, const std::string& payload = "")
    {
        Request request;
        Decode(messageId, payload, request);
        const Outcome outcome = sim::Serve(request, faults, service, subscriptions);
        audience.published.clear();
        Budget budget;
        for (unsigned int record = outcome.next; record < outcome.end; ++record) {
            service.Publish(record, audience, budget);
        }
        return outcome.result;
    }

    using Published = std::vector<std::string>;

    Faults faults;
    Subscriptions subscriptions;
    RecordingAudience audience;
    SubtitleService service;
};

TEST_F(ASubtitleService, PublishesABitmapAsHdAndSdAsSentAndAsCifWithTwoBitsAPixel)
{
    EXPECT_EQ(Serve(messages::setRegionData,
                    RegionDataRecord(3, 200, Bytes({0, 1, 2, 3, 4, 7, 254, 255}))),
              Result::Accepted);
    const std::string sent = Bytes({0, 1, 2, 3, 4, 7, 254, 255});
    EXPECT_EQ(
        audience.published,
        (Published{NotificationBytes(2, regionData, RegionDataRecord(3, 0, sent)),
                   NotificationBytes(3, regionData, RegionDataRecord(3, 1, sent)),
                   NotificationBytes(4, regionData,
                                     RegionDataRecord(3, 2, Bytes({0, 1, 2, 3, 0, 3, 2, 3})))}));
}

TEST_F(ASubtitleService, PublishesAnEmptyBitmap)
{
    EXPECT_EQ(Serve(messages::setRegionData, RegionDataRecord(14, 0, "")), Result::Accepted);
    EXPECT_EQ(audience.published,
              (Published{NotificationBytes(2, regionData, RegionDataRecord(14, 0, "")),
                         NotificationBytes(3, regionData, RegionDataRecord(14, 1, "")),
                         NotificationBytes(4, regionData, RegionDataRecord(14, 2, ""))}));
}

TEST_F(ASubtitleService, PublishesVisibilityAndPalettesAsSent)
{
    EXPECT_EQ(Serve(messages::setRegionVisibility, VisibilityRecord(1, true)), Result::Accepted);
    EXPECT_EQ(audience.published,
              (Published{NotificationBytes(6, visibility, VisibilityRecord(1, true))}));
    EXPECT_EQ(Serve(messages::setPaletteData, PaletteRecord(2, 31, true, "\x10\x20\x30\x40")),
              Result::Accepted);
    EXPECT_EQ(audience.published,
              (Published{
                  NotificationBytes(10, palette, PaletteRecord(2, 31, true, "\x10\x20\x30\x40"))}));
}

TEST_F(ASubtitleService, ComplementsEveryByteOfAnInvertedRegionAndPublishesItAgain)
{
    Serve(messages::setRegionData, RegionDataRecord(3, 0, Bytes({0, 1, 255})));
    EXPECT_EQ(Serve(messages::invertRegionData, U32(3)), Result::Accepted);
    EXPECT_EQ(
        audience.published,
        (Published{NotificationBytes(2, regionData, RegionDataRecord(3, 0, Bytes({255, 254, 0}))),
                   NotificationBytes(3, regionData, RegionDataRecord(3, 1, Bytes({255, 254, 0}))),
                   NotificationBytes(4, regionData, RegionDataRecord(3, 2, Bytes({3, 2, 0})))}));
    Serve(messages::invertRegionData, U32(3));
    EXPECT_EQ(audience.published[0],
              NotificationBytes(2, regionData, RegionDataRecord(3, 0, Bytes({0, 1, 255}))));
}

TEST_F(ASubtitleService, PublishesNothingForTheInversionOfARegionWithoutBitmap)
{
    Serve(messages::setRegionData, RegionDataRecord(3, 0, "abc"));
    EXPECT_EQ(Serve(messages::invertRegionData, U32(4)), Result::Accepted);
    EXPECT_TRUE(audience.published.empty());
}

TEST_F(ASubtitleService, RefusesRegionsOutside1To14)
{
    for (unsigned int region = 0; region < 256; ++region) {
        const Result expected = region >= 1 && region <= 14 ? Result::Accepted : Result::Refused;
        EXPECT_EQ(Serve(messages::setRegionData, RegionDataRecord(region, 0, "a")), expected);
        EXPECT_EQ(Serve(messages::setRegionVisibility, VisibilityRecord(region, true)), expected);
        EXPECT_EQ(Serve(messages::setPaletteData, PaletteRecord(region, 0, true, "a")), expected);
        EXPECT_EQ(Serve(messages::invertRegionData, U32(region)), expected);
    }
    // Would be region 1 if it were cut to 8 bits.
    EXPECT_EQ(Serve(messages::invertRegionData, U32(257)), Result::Refused);
    EXPECT_EQ(Serve(messages::invertRegionData, U32(4294967295)), Result::Refused);
}

TEST_F(ASubtitleService, KeepsNothingOfARefusedRequest)
{
    Serve(messages::setRegionData, RegionDataRecord(15, 0, "abc"));
    Serve(messages::setRegionVisibility, VisibilityRecord(0, true));
    Serve(messages::refreshRegions);
    EXPECT_TRUE(audience.published.empty());
}

TEST_F(ASubtitleService, RefreshesEverythingKeptInOrderOfRegion)
{
    Serve(messages::setPaletteData, PaletteRecord(14, 1, false, "pal"));
    Serve(messages::setRegionVisibility, VisibilityRecord(2, false));
    Serve(messages::setRegionData, RegionDataRecord(14, 0, "old"));
    Serve(messages::setPaletteData, PaletteRecord(2, 9, true, ""));
    Serve(messages::setRegionData, RegionDataRecord(2, 0, "\1"));
    Serve(messages::setRegionData, RegionDataRecord(14, 0, "\2"));
    EXPECT_EQ(Serve(messages::refreshRegions), Result::Accepted);
    EXPECT_EQ(audience.published,
              (Published{NotificationBytes(2, regionData, RegionDataRecord(2, 0, "\1")),
                         NotificationBytes(3, regionData, RegionDataRecord(2, 1, "\1")),
                         NotificationBytes(4, regionData, RegionDataRecord(2, 2, "\1")),
                         NotificationBytes(6, visibility, VisibilityRecord(2, false)),
                         NotificationBytes(10, palette, PaletteRecord(2, 9, true, "")),
                         NotificationBytes(2, regionData, RegionDataRecord(14, 0, "\2")),
                         NotificationBytes(3, regionData, RegionDataRecord(14, 1, "\2")),
                         NotificationBytes(4, regionData, RegionDataRecord(14, 2, "\2")),
                         NotificationBytes(10, palette, PaletteRecord(14, 1, false, "pal"))}));
}

TEST_F(ASubtitleService, RefreshesTheInvertedBitmap)
{
    Serve(messages::setRegionData, RegionDataRecord(1, 0, Bytes({1})));
    Serve(messages::invertRegionData, U32(1));
    Serve(messages::refreshRegions);
    ASSERT_EQ(audience.published.size(), 3u);
    EXPECT_EQ(audience.published[0],
              NotificationBytes(2, regionData, RegionDataRecord(1, 0, Bytes({254}))));
}

TEST_F(ASubtitleService, KeepsSensorUpdates)
{
    EXPECT_FALSE(service.SensorIsOn(5));
    EXPECT_EQ(Serve(messages::sendSensorUpdate, U32(5) + Bytes({1})), Result::Accepted);
    EXPECT_TRUE(service.SensorIsOn(5));
    EXPECT_FALSE(service.SensorIsOn(4));
    EXPECT_EQ(Serve(messages::sendSensorUpdate, U32(5) + Bytes({0})), Result::Accepted);
    EXPECT_FALSE(service.SensorIsOn(5));
}

TEST_F(ASubtitleService, RefusesSensorsOutside0To5)
{
    EXPECT_EQ(Serve(messages::sendSensorUpdate, U32(6) + Bytes({1})), Result::Refused);
    EXPECT_EQ(Serve(messages::sendSensorUpdate, U32(4294967295) + Bytes({1})), Result::Refused);
}

TEST_F(ASubtitleService, HasLogLevel63UntilItIsSet)
{
    EXPECT_EQ(service.LogLevel(), 63u);
    EXPECT_EQ(Serve(messages::setLogLevel, U32(4294967295)), Result::Accepted);
    EXPECT_EQ(service.LogLevel(), 4294967295u);
}

TEST_F(ASubtitleService, AddsAndEndsTheSubscriptionsOfThePeer)
{
    EXPECT_EQ(Serve(messages::subscribe, U32(2) + U32(regionData)), Result::Accepted);
    EXPECT_TRUE(subscriptions.Include(2));
    EXPECT_EQ(Serve(messages::subscribe, U32(5) + U32(regionData)), Result::Refused);
    EXPECT_EQ(Serve(messages::unsubscribe, U32(1)), Result::Accepted);
    EXPECT_FALSE(subscriptions.Include(2));
    EXPECT_EQ(Serve(messages::unsubscribe, U32(5)), Result::Refused);
}

TEST_F(ASubtitleService, ToldToRefuseSubscriptionsRefusesThemAll)
{
    faults.refuseSubscribe = true;
    EXPECT_EQ(Serve(messages::subscribe, U32(2) + U32(regionData)), Result::Refused);
    EXPECT_FALSE(subscriptions.Include(2));
    EXPECT_EQ(Serve(messages::unsubscribe, U32(2)), Result::Accepted);
}

TEST_F(ASubtitleService, ToldToRefuseRefreshesPublishesNothing)
{
    faults.refuseRefresh = true;
    Serve(messages::setRegionVisibility, VisibilityRecord(1, true));
    EXPECT_EQ(Serve(messages::refreshRegions), Result::Refused);
    EXPECT_TRUE(audience.published.empty());
}

TEST_F(ASubtitleService, ToldToRefuseSensorsKeepsNone)
{
    faults.refuseSensor = true;
    EXPECT_EQ(Serve(messages::sendSensorUpdate, U32(1) + Bytes({1})), Result::Refused);
    EXPECT_FALSE(service.SensorIsOn(1));
}

}  // namespace
