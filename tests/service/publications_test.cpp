// The journal line and the notifications that one request causes.

#include "tests/service/SimulatorSession.h"

namespace {

const std::string pixels = Bytes({0, 1, 2, 3, 4, 255});
const std::string pixelsInCif = Bytes({0, 1, 2, 3, 0, 3});
const std::string inverted = Bytes({255, 254, 253, 252, 251, 0});
const std::string invertedInCif = Bytes({3, 2, 1, 0, 3, 0});

class Publication : public SimulatorSession {
protected:
    static std::string Bitmap(unsigned int format, const std::string& data)
    {
        return NotificationBytes(format + 2, messages::regionDataItem,
                                 RegionDataRecord(14, format, data));
    }

    static void ExpectEveryFormat(WireClient& client, const std::string& sent,
                                  const std::string& inCif)
    {
        EXPECT_EQ(client.ReceiveBytes(), Bitmap(0, sent));
        EXPECT_EQ(client.ReceiveBytes(), Bitmap(1, sent));
        EXPECT_EQ(client.ReceiveBytes(), Bitmap(2, inCif));
    }

    /// The reply to a ping comes after all earlier notifications.
    static void ExpectNothingMore(WireClient& client) { EXPECT_EQ(client.Ask(messages::ping), ""); }
};

TEST_F(Publication, ReachesEachSubscriberOnceInItsFormats)
{
    service.Start();
    WireClient editor = Connect();
    WireClient other = Connect();
    WireClient cif = Connect();
    for (const unsigned int number : {1u, 2u, 1u}) {  // 1 includes 2
        editor.Subscribe(number);
    }
    for (const unsigned int number : {2u, 3u, 4u, 12u, 6u}) {
        other.Subscribe(number);
    }
    cif.Subscribe(4);
    EXPECT_EQ(editor.Ask(messages::setRegionData, RegionDataRecord(14, 9, pixels)), accepted);
    ExpectEveryFormat(editor, pixels, pixelsInCif);
    ExpectEveryFormat(other, pixels, pixelsInCif);
    EXPECT_EQ(cif.ReceiveBytes(), Bitmap(2, pixelsInCif));
    EXPECT_EQ(other.Ask(messages::invertRegionData, U32(14)), accepted);
    ExpectEveryFormat(other, inverted, invertedInCif);
    ExpectEveryFormat(editor, inverted, invertedInCif);
    EXPECT_EQ(cif.ReceiveBytes(), Bitmap(2, invertedInCif));
    for (WireClient* client : {&editor, &other, &cif}) {
        ExpectNothingMore(*client);
    }
}

TEST_F(Publication, OfAScenarioIsRepeatedByARefresh)
{
    service.Play("region-data 14 7 0001020304ff\n").Start();
    WireClient client = Connect();
    client.Subscribe(12);
    for (const std::string& data : {pixels, inverted}) {
        client.Ask(messages::refreshRegions);
        EXPECT_EQ(client.ReceiveBytes(),
                  NotificationBytes(12, messages::regionDataItem, RegionDataRecord(14, 7, data)));
        client.Ask(messages::invertRegionData, U32(14));
        client.ReceiveFrame();
    }
}

using JournalLine = SimulatorSession;

TEST_F(JournalLine, IsWrittenBeforeTheReply)
{
    service.Journal().Quiet().Start();
    WireClient client = Connect();
    for (std::size_t count = 1; count <= 200; ++count) {
        client.Ask(messages::ping);
        ASSERT_EQ(service.JournalLines().size(), count);
    }
}

}  // namespace
