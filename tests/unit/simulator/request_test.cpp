#include "simulator/request.h"

#include "tests/unit/simulator/decode.h"

#include <gtest/gtest.h>

using namespace platform;
using namespace sim;

namespace {

std::string DescriptionOf(unsigned int messageId, const std::string& payload = "")
{
    Request request;
    Decode(messageId, payload, request);
    return Describe(request);
}

TEST(Request, IsDescribedForPeople)
{
    EXPECT_EQ(DescriptionOf(messages::ping), "Ping");
    EXPECT_EQ(DescriptionOf(messages::quit), "Quit");
    EXPECT_EQ(DescriptionOf(messages::subscribe, U32(2) + U32(15129)), "Subscribe 2, item 15129");
    EXPECT_EQ(DescriptionOf(messages::unsubscribe, U32(1)), "Unsubscribe 1");
    EXPECT_EQ(DescriptionOf(messages::setRegionData, RegionDataRecord(3, 2, "abc")),
              "SetRegionData region 3, format 2, 3 bytes");
    EXPECT_EQ(DescriptionOf(messages::setRegionVisibility, VisibilityRecord(4, true)),
              "SetRegionVisibility region 4, visible");
    EXPECT_EQ(DescriptionOf(messages::setRegionVisibility, VisibilityRecord(4, false)),
              "SetRegionVisibility region 4, hidden");
    EXPECT_EQ(DescriptionOf(messages::setPaletteData, PaletteRecord(2, 31, true, "abcd")),
              "SetPaletteData region 2, 4 bytes, filled, background 31");
    EXPECT_EQ(DescriptionOf(messages::invertRegionData, U32(9)), "InvertRegionData region 9");
    EXPECT_EQ(DescriptionOf(messages::refreshRegions), "RefreshRegions");
    EXPECT_EQ(DescriptionOf(messages::sendSensorUpdate, U32(4) + Bytes({0})),
              "SendSensorUpdate off, sensor 4");
    EXPECT_EQ(DescriptionOf(messages::getLogLevel), "GetLogLevel");
    EXPECT_EQ(DescriptionOf(messages::setLogLevel, U32(63)), "SetLogLevel 63");
}

TEST(Request, IsKnownInItsOwnKindOfFrameOnly)
{
    const auto isKnown = [](FrameKind kind, unsigned int messageId) {
        Request request;
        return DecodeRequest({kind, messageId, 0, 0}, nullptr, request);
    };
    EXPECT_TRUE(isKnown(FrameKind::Request, messages::ping));
    EXPECT_FALSE(isKnown(FrameKind::OneWay, messages::ping));
    EXPECT_TRUE(isKnown(FrameKind::OneWay, messages::quit));
    EXPECT_FALSE(isKnown(FrameKind::Request, messages::quit));
    EXPECT_FALSE(isKnown(FrameKind::Request, messages::regionDataItem));
    EXPECT_FALSE(isKnown(FrameKind::Request, messages::ReplyTo(messages::ping)));
    EXPECT_FALSE(isKnown(FrameKind::Request, messages::notUnderstood));
}

}  // namespace
