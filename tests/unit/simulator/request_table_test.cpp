#include "simulator/service/request_table.h"

#include "recording/writer.h"
#include "tests/unit/simulator/decode.h"

#include <gtest/gtest.h>

namespace {

TEST(Request, IsDescribedForPeopleAndInTheJournal)
{
    const struct {
        const char* request;
        unsigned int messageId;
        std::string payload;
        const char* description;
        const char* fields;
    } rows[] = {
        {"Ping", messages::ping, "", "", ""},
        {"Quit", messages::quit, "", "", ""},
        {"Subscribe", messages::subscribe, U32(12) + U32(15129), " 12, item 15129",
         R"(,"subscription":12,"itemId":15129)"},
        {"Unsubscribe", messages::unsubscribe, U32(4294967295), " 4294967295",
         R"(,"subscription":4294967295)"},
        {"SetRegionData", messages::setRegionData, RegionDataRecord(255, 2, "123456789"),
         " region 255, format 2, 9 bytes",
         R"(,"regionId":255,"subtitleFormat":2,"size":9,"crc32":"cbf43926")"},
        {"SetRegionVisibility", messages::setRegionVisibility, VisibilityRecord(3, true),
         " region 3, visible", R"(,"regionId":3,"visible":true)"},
        {"SetRegionVisibility", messages::setRegionVisibility, VisibilityRecord(0, false),
         " region 0, hidden", R"(,"regionId":0,"visible":false)"},
        {"SetPaletteData", messages::setPaletteData, PaletteRecord(2, 31, true, "123456789"),
         " region 2, 9 bytes, filled, background 31",
         R"(,"regionId":2,"size":9,"crc32":"cbf43926","fill":true,"backgroundCode":31)"},
        {"InvertRegionData", messages::invertRegionData, U32(4294967295), " region 4294967295",
         R"(,"regionId":4294967295)"},
        {"RefreshRegions", messages::refreshRegions, "", "", ""},
        {"SendSensorUpdate", messages::sendSensorUpdate, U32(5) + Bytes({1}), " on, sensor 5",
         R"(,"on":true,"sensor":5)"},
        {"SendSensorUpdate", messages::sendSensorUpdate, U32(0) + Bytes({0}), " off, sensor 0",
         R"(,"on":false,"sensor":0)"},
        {"GetLogLevel", messages::getLogLevel, "", "", ""},
        {"SetLogLevel", messages::setLogLevel, U32(63), " 63", R"(,"level":63)"},
    };
    for (const auto& row : rows) {
        sim::Request request;
        Decode(row.messageId, row.payload, request);
        EXPECT_EQ(Describe(request.contents), std::string(row.request) + row.description);
        std::string line;
        AppendLine(line, request.contents, recording::Bytes::LeftOut);
        EXPECT_EQ(line, std::string(R"({"monoUs":0,"wallUs":0,"request":")") + row.request +
                            R"(","client":0)" + row.fields + ",\"result\":\"ok\"}\n");
    }
}

TEST(Request, IsKnownInItsOwnKindOfFrameOnly)
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
