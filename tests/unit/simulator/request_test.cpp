#include "simulator/service/request.h"

#include "recording/writer.h"
#include "tests/unit/simulator/decode.h"

#include <gtest/gtest.h>

namespace {

/// The text of a request on standard error and in the journal.
struct RequestLines {
    const char* name;
    const char* request;
    unsigned int messageId;
    std::string payload;
    const char* description;
    const char* fields;
};

class Request : public testing::TestWithParam<RequestLines> {
protected:
    void SetUp() override { Decode(GetParam().messageId, GetParam().payload, request); }

    sim::Request request;
};

TEST_P(Request, IsDescribedForPeople)
{
    EXPECT_EQ(Describe(request.contents), std::string(GetParam().request) + GetParam().description);
}

TEST_P(Request, IsALineOfTheJournal)
{
    std::string line;
    AppendLine(line, request.contents, recording::Bytes::LeftOut);
    EXPECT_EQ(line, std::string(R"({"monoUs":0,"wallUs":0,"request":")") + GetParam().request +
                        R"(","client":0)" + GetParam().fields + ",\"result\":\"ok\"}\n");
}

INSTANTIATE_TEST_SUITE_P(
    OfEachKind, Request,
    testing::Values(
        RequestLines{"Ping", "Ping", messages::ping, "", "", ""},
        RequestLines{"Quit", "Quit", messages::quit, "", "", ""},
        RequestLines{"Subscribe", "Subscribe", messages::subscribe, U32(12) + U32(15129),
                     " 12, item 15129", R"(,"subscription":12,"itemId":15129)"},
        RequestLines{"Unsubscribe", "Unsubscribe", messages::unsubscribe, U32(4294967295),
                     " 4294967295", R"(,"subscription":4294967295)"},
        RequestLines{"Bitmap", "SetRegionData", messages::setRegionData,
                     RegionDataRecord(3, 2, "123456789"), " region 3, format 2, 9 bytes",
                     R"(,"regionId":3,"subtitleFormat":2,"size":9,"crc32":"cbf43926")"},
        RequestLines{"EmptyBitmap", "SetRegionData", messages::setRegionData,
                     RegionDataRecord(255, 0, ""), " region 255, format 0, 0 bytes",
                     R"(,"regionId":255,"subtitleFormat":0,"size":0,"crc32":"00000000")"},
        RequestLines{"Shown", "SetRegionVisibility", messages::setRegionVisibility,
                     VisibilityRecord(3, true), " region 3, visible",
                     R"(,"regionId":3,"visible":true)"},
        RequestLines{"Hidden", "SetRegionVisibility", messages::setRegionVisibility,
                     VisibilityRecord(0, false), " region 0, hidden",
                     R"(,"regionId":0,"visible":false)"},
        RequestLines{
            "Palette", "SetPaletteData", messages::setPaletteData,
            PaletteRecord(2, 31, true, "123456789"), " region 2, 9 bytes, filled, background 31",
            R"(,"regionId":2,"size":9,"crc32":"cbf43926","fill":true,"backgroundCode":31)"},
        RequestLines{"Inversion", "InvertRegionData", messages::invertRegionData, U32(4294967295),
                     " region 4294967295", R"(,"regionId":4294967295)"},
        RequestLines{"Refresh", "RefreshRegions", messages::refreshRegions, "", "", ""},
        RequestLines{"SensorOn", "SendSensorUpdate", messages::sendSensorUpdate,
                     U32(5) + Bytes({1}), " on, sensor 5", R"(,"on":true,"sensor":5)"},
        RequestLines{"SensorOff", "SendSensorUpdate", messages::sendSensorUpdate,
                     U32(0) + Bytes({0}), " off, sensor 0", R"(,"on":false,"sensor":0)"},
        RequestLines{"GetLogLevel", "GetLogLevel", messages::getLogLevel, "", "", ""},
        RequestLines{"SetLogLevel", "SetLogLevel", messages::setLogLevel, U32(63), " 63",
                     R"(,"level":63)"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(RequestNumber, IsKnownInItsOwnKindOfFrameOnly)
{
    const auto isKnown = [](FrameKind kind, unsigned int messageId) {
        sim::Request request;
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
