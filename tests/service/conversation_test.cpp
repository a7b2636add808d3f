// Requests, their journal lines, their answers and what is published, byte by byte.

#include "tests/service/SimulatorSession.h"

#include <stdexcept>

namespace {

constexpr unsigned int bitmaps = 15129;
constexpr unsigned int visibilities = 15132;
constexpr unsigned int palettes = 15133;

const std::string pixels = Bytes({0, 1, 2, 3, 4, 255});
const std::string pixelsInCif = Bytes({0, 1, 2, 3, 0, 3});
const std::string inverted = Bytes({255, 254, 253, 252, 251, 0});
const std::string invertedInCif = Bytes({3, 2, 1, 0, 3, 0});

/// Whatever is still to come to this client stands before the reply to a ping.
void ExpectNothingMore(WireClient& client) { EXPECT_EQ(client.Ask(messages::ping), ""); }

class AConversation : public SimulatorSession {
protected:
    static void ExpectBitmaps(WireClient& client, unsigned int region, const std::string& sent,
                              const std::string& inCif)
    {
        EXPECT_EQ(client.ReceiveBytes(),
                  NotificationBytes(2, bitmaps, RegionDataRecord(region, 0, sent)));
        EXPECT_EQ(client.ReceiveBytes(),
                  NotificationBytes(3, bitmaps, RegionDataRecord(region, 1, sent)));
        EXPECT_EQ(client.ReceiveBytes(),
                  NotificationBytes(4, bitmaps, RegionDataRecord(region, 2, inCif)));
    }
};

TEST_F(AConversation, IsJournalledLineByLineRefusedRequestsToo)
{
    service.Journal().Start();
    WireClient client = Connect();
    // crc32 of "123456789" is the known check value.
    const std::string data = "123456789";
    EXPECT_EQ(client.Ask(messages::ping), "");
    EXPECT_EQ(client.Ask(messages::subscribe, U32(10) + U32(15133)), accepted);
    EXPECT_EQ(client.Ask(messages::subscribe, U32(10) + U32(15129)), refused);
    EXPECT_EQ(client.Ask(messages::unsubscribe, U32(10)), accepted);
    EXPECT_EQ(client.Ask(messages::unsubscribe, U32(5)), refused);
    EXPECT_EQ(client.Ask(messages::setRegionData, RegionDataRecord(3, 7, data)), accepted);
    EXPECT_EQ(client.Ask(messages::setRegionData, RegionDataRecord(15, 0, "")), refused);
    EXPECT_EQ(client.Ask(messages::setRegionVisibility, VisibilityRecord(14, false)), accepted);
    EXPECT_EQ(client.Ask(messages::setRegionVisibility, VisibilityRecord(0, true)), refused);
    EXPECT_EQ(client.Ask(messages::setPaletteData, PaletteRecord(2, 31, true, data)), accepted);
    EXPECT_EQ(client.Ask(messages::invertRegionData, U32(3)), accepted);
    EXPECT_EQ(client.Ask(messages::invertRegionData, U32(0xFFFFFFFF)), refused);
    EXPECT_EQ(client.Ask(messages::refreshRegions), accepted);
    EXPECT_EQ(client.Ask(messages::sendSensorUpdate, U32(5) + Bytes({1})), accepted);
    EXPECT_EQ(client.Ask(messages::sendSensorUpdate, U32(6) + Bytes({0})), refused);
    EXPECT_EQ(client.Ask(messages::getLogLevel), accepted + U32(63));
    EXPECT_EQ(client.Ask(messages::setLogLevel, U32(7)), accepted);
    EXPECT_EQ(client.Ask(messages::getLogLevel), accepted + U32(7));
    const std::vector<std::string> expected{
        R"({"request":"Ping"})",
        R"({"request":"Subscribe","subscription":10,"itemId":15133})",
        R"({"request":"Subscribe","subscription":10,"itemId":15129})",
        R"({"request":"Unsubscribe","subscription":10})",
        R"({"request":"Unsubscribe","subscription":5})",
        R"({"request":"SetRegionData","regionId":3,"subtitleFormat":7,"size":9,"crc32":"cbf43926"})",
        R"({"request":"SetRegionData","regionId":15,"subtitleFormat":0,"size":0,"crc32":"00000000"})",
        R"({"request":"SetRegionVisibility","regionId":14,"visible":false})",
        R"({"request":"SetRegionVisibility","regionId":0,"visible":true})",
        R"({"request":"SetPaletteData","regionId":2,"size":9,"crc32":"cbf43926","fill":true,"backgroundCode":31})",
        R"({"request":"InvertRegionData","regionId":3})",
        R"({"request":"InvertRegionData","regionId":4294967295})",
        R"({"request":"RefreshRegions"})",
        R"({"request":"SendSensorUpdate","on":true,"sensor":5})",
        R"({"request":"SendSensorUpdate","on":false,"sensor":6})",
        R"({"request":"GetLogLevel"})",
        R"({"request":"SetLogLevel","level":7})",
        R"({"request":"GetLogLevel"})"};
    EXPECT_EQ(service.JournalLines(), expected);
}

TEST_F(AConversation, HasEachRequestInTheJournalBeforeItsAnswerArrives)
{
    service.Journal().Quiet().Start();
    WireClient client = Connect();
    for (std::size_t count = 1; count <= 200; ++count) {
        client.Ask(messages::ping);
        ASSERT_EQ(service.JournalLines().size(), count);
    }
}

TEST_F(AConversation, BringsABitmapInThreeFormatsToEachSubscriberOnceTheCauserIncluded)
{
    service.Start();
    WireClient causer = Connect();
    WireClient other = Connect();
    WireClient cif = Connect();
    causer.Subscribe(1);
    causer.Subscribe(2);  // 1 includes it
    causer.Subscribe(1);
    for (const unsigned int subscription : {2u, 3u, 4u, 12u, 6u}) {
        other.Subscribe(subscription);
    }
    cif.Subscribe(4);
    EXPECT_EQ(causer.Ask(messages::setRegionData, RegionDataRecord(14, 9, pixels)), accepted);
    ExpectBitmaps(causer, 14, pixels, pixelsInCif);
    ExpectBitmaps(other, 14, pixels, pixelsInCif);
    EXPECT_EQ(cif.ReceiveBytes(),
              NotificationBytes(4, bitmaps, RegionDataRecord(14, 2, pixelsInCif)));
    ExpectNothingMore(causer);
    ExpectNothingMore(other);
    ExpectNothingMore(cif);
    EXPECT_EQ(other.Ask(messages::invertRegionData, U32(14)), accepted);
    ExpectBitmaps(other, 14, inverted, invertedInCif);
    ExpectBitmaps(causer, 14, inverted, invertedInCif);
    EXPECT_EQ(other.Ask(messages::invertRegionData, U32(13)), accepted);
    ExpectNothingMore(other);
}

TEST_F(AConversation, RefreshesInOrderOfRegion)
{
    service.Start();
    WireClient client = Connect();
    client.Ask(messages::setPaletteData, PaletteRecord(14, 1, false, "late"));
    client.Ask(messages::setPaletteData, PaletteRecord(2, 31, true, "pal"));
    client.Ask(messages::setRegionVisibility, VisibilityRecord(2, true));
    client.Ask(messages::setRegionVisibility, VisibilityRecord(1, false));
    client.Ask(messages::setRegionData, RegionDataRecord(2, 0, pixels));
    for (const unsigned int subscription : {1u, 6u, 10u}) {
        client.Subscribe(subscription);
    }
    ExpectNothingMore(client);
    EXPECT_EQ(client.Ask(messages::refreshRegions), accepted);
    EXPECT_EQ(client.ReceiveBytes(),
              NotificationBytes(6, visibilities, VisibilityRecord(1, false)));
    ExpectBitmaps(client, 2, pixels, pixelsInCif);
    EXPECT_EQ(client.ReceiveBytes(), NotificationBytes(6, visibilities, VisibilityRecord(2, true)));
    EXPECT_EQ(client.ReceiveBytes(),
              NotificationBytes(10, palettes, PaletteRecord(2, 31, true, "pal")));
    EXPECT_EQ(client.ReceiveBytes(),
              NotificationBytes(10, palettes, PaletteRecord(14, 1, false, "late")));
    ExpectNothingMore(client);
}

TEST_F(AConversation, ReleasesEveryBitmapUnderNumberOneAndNothingElse)
{
    service.Start();
    WireClient client = Connect();
    for (const unsigned int subscription : {1u, 2u, 3u, 4u, 12u, 6u, 10u}) {
        client.Subscribe(subscription);
    }
    EXPECT_EQ(client.Ask(messages::unsubscribe, U32(1)), accepted);
    EXPECT_EQ(client.Ask(messages::setRegionData, RegionDataRecord(1, 0, pixels)), accepted);
    ExpectNothingMore(client);
    EXPECT_EQ(client.Ask(messages::setRegionVisibility, VisibilityRecord(1, true)), accepted);
    EXPECT_EQ(client.ReceiveBytes(), NotificationBytes(6, visibilities, VisibilityRecord(1, true)));
}

TEST_F(AConversation, WithAMuteServiceIsJournalledAndChangesNothing)
{
    service.Fault("mute").Journal().Start();
    WireClient client = Connect();
    client.Request(messages::subscribe, U32(10) + U32(15133));
    client.Request(messages::setPaletteData, PaletteRecord(2, 31, true, "pal"));
    client.Request(0x3C20);
    service.WaitForJournalLines(2);
    service.Process().WaitForErrors("not understood: request 0x3C20, 0 bytes\n");
    // The end is the first thing that this client gets.
    client.SendFrame(FrameKind::OneWay, messages::quit, 0);
    EXPECT_THROW(client.ReceiveFrame(), std::runtime_error);
    EXPECT_EQ(service.Process().WaitForExit(), 0);
}

TEST_F(AConversation, WithAServiceThatHangsUpEndsAtTheFirstRequest)
{
    service.Fault("hang-up").Journal().Start();
    for (int i = 0; i < 3; ++i) {
        WireClient client = Connect();
        client.Request(messages::ping);
        EXPECT_THROW(client.ReceiveFrame(), std::runtime_error);
    }
    EXPECT_EQ(service.JournalLines().size(), 3u);
    service.Process().WaitForErrors("SubtitleMgrSim: client 3: hung up on: Ping\n");
}

TEST_F(AConversation, WithGarbageHasAMalformedRecordBeforeEachGoodOne)
{
    service.Fault("garbage").Start();
    WireClient client = Connect();
    client.Subscribe(10);
    const std::string record = PaletteRecord(2, 31, true, "pal");
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(client.Ask(messages::setPaletteData, record), accepted);
        const RawFrame spoilt = client.ReceiveFrame();
        EXPECT_EQ(spoilt.header.messageId, palettes);
        EXPECT_NE(spoilt.payload, record);
        EXPECT_EQ(client.ReceiveBytes(), NotificationBytes(10, palettes, record));
    }
}

TEST_F(AConversation, IsRefusedByFaultsOneByOne)
{
    service.Fault("refuse-subscribe").Fault("refuse-refresh").Fault("refuse-sensor").Start();
    WireClient client = Connect();
    EXPECT_EQ(client.Ask(messages::subscribe, U32(6) + U32(15132)), refused);
    EXPECT_EQ(client.Ask(messages::refreshRegions), refused);
    EXPECT_EQ(client.Ask(messages::sendSensorUpdate, U32(0) + Bytes({1})), refused);
    EXPECT_EQ(client.Ask(messages::unsubscribe, U32(6)), accepted);
    EXPECT_EQ(client.Ask(messages::setRegionVisibility, VisibilityRecord(1, true)), accepted);
}

class AScenario : public SimulatorSession {};

TEST_F(AScenario, IsPlayedInOrderToThoseWhoHoldWhatItPublishes)
{
    service.Accompany("logo.bin", Bytes({0, 0xFE}));
    service.Play("region-data 1 0 01  # before anybody subscribed\n"
                 "wait-subscribers 10\n"
                 "region-data 3 2 00010203ff\n"
                 "region-data 200 0 @logo.bin\n"
                 "\tvisibility 3 t\r\n"
                 "sleep 1\n"
                 "region-data 0 77 -\n"
                 "region-data 1 1 AbcD\n"
                 "palette 2 31 t 10ff\n");
    service.Start();
    WireClient all = Connect();
    WireClient some = Connect();
    all.Subscribe(1);
    all.Subscribe(6);
    some.Subscribe(6);
    ExpectNothingMore(all);
    some.Subscribe(10);
    const std::string cif =
        NotificationBytes(4, bitmaps, RegionDataRecord(3, 2, Bytes({0, 1, 2, 3, 255})));
    EXPECT_EQ(all.ReceiveBytes(), cif);
    EXPECT_EQ(all.ReceiveBytes(),
              NotificationBytes(2, bitmaps, RegionDataRecord(200, 0, Bytes({0, 0xFE}))));
    const std::string shown = NotificationBytes(6, visibilities, VisibilityRecord(3, true));
    EXPECT_EQ(all.ReceiveBytes(), shown);
    EXPECT_EQ(all.ReceiveBytes(), NotificationBytes(12, bitmaps, RegionDataRecord(0, 77, "")));
    EXPECT_EQ(all.ReceiveBytes(),
              NotificationBytes(3, bitmaps, RegionDataRecord(1, 1, Bytes({0xAB, 0xCD}))));
    EXPECT_EQ(some.ReceiveBytes(), shown);
    EXPECT_EQ(some.ReceiveBytes(),
              NotificationBytes(10, palettes, PaletteRecord(2, 31, true, Bytes({0x10, 0xFF}))));
    ExpectNothingMore(all);
    ExpectNothingMore(some);
    // What a scenario publishes is not kept.
    EXPECT_EQ(all.Ask(messages::refreshRegions), accepted);
    ExpectNothingMore(all);
}

TEST_F(AScenario, IsRepeatedForEverWithLoop)
{
    service.Play("wait-subscribers 6\nvisibility 1 t\nvisibility 2 f\n").Loop().Start();
    WireClient client = Connect();
    client.Subscribe(6);
    for (int pass = 0; pass < 1000; ++pass) {
        ASSERT_EQ(client.ReceiveBytes(),
                  NotificationBytes(6, visibilities, VisibilityRecord(1, true)));
        ASSERT_EQ(client.ReceiveBytes(),
                  NotificationBytes(6, visibilities, VisibilityRecord(2, false)));
    }
}

}  // namespace
