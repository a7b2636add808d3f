#include "simulator/journal.h"

#include "tests/harness/TempDir.h"
#include "tests/unit/simulator/decode.h"

#include <gtest/gtest.h>

using namespace platform;
using namespace sim;

namespace {

/// The journal line of a request with this payload.
std::string LineOf(unsigned int messageId, const std::string& payload = "")
{
    Request request;
    Decode(messageId, payload, request);
    return JournalLine(request);
}

TEST(JournalLine, OfRequestsWithoutFieldsHasTheNameAlone)
{
    EXPECT_EQ(LineOf(messages::ping), R"({"request":"Ping"})");
    EXPECT_EQ(LineOf(messages::quit), R"({"request":"Quit"})");
    EXPECT_EQ(LineOf(messages::refreshRegions), R"({"request":"RefreshRegions"})");
    EXPECT_EQ(LineOf(messages::getLogLevel), R"({"request":"GetLogLevel"})");
}

TEST(JournalLine, OfSubscriptionsHasNumberAndItem)
{
    EXPECT_EQ(LineOf(messages::subscribe, U32(12) + U32(15129)),
              R"({"request":"Subscribe","subscription":12,"itemId":15129})");
    EXPECT_EQ(LineOf(messages::unsubscribe, U32(4294967295)),
              R"({"request":"Unsubscribe","subscription":4294967295})");
}

TEST(JournalLine, OfRegionDataHasSizeAndChecksumOfTheData)
{
    EXPECT_EQ(
        LineOf(messages::setRegionData, RegionDataRecord(3, 2, "123456789")),
        R"({"request":"SetRegionData","regionId":3,"subtitleFormat":2,"size":9,"crc32":"cbf43926"})");
}

TEST(JournalLine, WritesAChecksumWithLeadingZeros)
{
    EXPECT_EQ(
        LineOf(messages::setRegionData, RegionDataRecord(255, 0, "")),
        R"({"request":"SetRegionData","regionId":255,"subtitleFormat":0,"size":0,"crc32":"00000000"})");
}

TEST(JournalLine, OfVisibilityHasABoolean)
{
    EXPECT_EQ(LineOf(messages::setRegionVisibility, VisibilityRecord(3, true)),
              R"({"request":"SetRegionVisibility","regionId":3,"visible":true})");
    EXPECT_EQ(LineOf(messages::setRegionVisibility, VisibilityRecord(0, false)),
              R"({"request":"SetRegionVisibility","regionId":0,"visible":false})");
}

TEST(JournalLine, OfAPaletteHasDataBeforeFillAndBackground)
{
    EXPECT_EQ(
        LineOf(messages::setPaletteData, PaletteRecord(2, 31, true, "123456789")),
        R"({"request":"SetPaletteData","regionId":2,"size":9,"crc32":"cbf43926","fill":true,"backgroundCode":31})");
}

TEST(JournalLine, OfAnInversionHasTheFullNumber)
{
    EXPECT_EQ(LineOf(messages::invertRegionData, U32(4294967295)),
              R"({"request":"InvertRegionData","regionId":4294967295})");
}

TEST(JournalLine, OfASensorHasStateAndNumber)
{
    EXPECT_EQ(LineOf(messages::sendSensorUpdate, U32(5) + Bytes({1})),
              R"({"request":"SendSensorUpdate","on":true,"sensor":5})");
    EXPECT_EQ(LineOf(messages::sendSensorUpdate, U32(0) + Bytes({0})),
              R"({"request":"SendSensorUpdate","on":false,"sensor":0})");
}

TEST(JournalLine, OfALogLevelHasTheLevel)
{
    EXPECT_EQ(LineOf(messages::setLogLevel, U32(63)), R"({"request":"SetLogLevel","level":63})");
}

TEST(Journal, AppendsToWhatIsThere)
{
    const TempDir folder;
    WriteWholeFile(folder / "journal", "earlier\n");
    Journal journal;
    std::string problem;
    ASSERT_TRUE(journal.Open(folder / "journal", problem)) << problem;
    Request request;
    Decode(messages::ping, "", request);
    journal.Add(request);
    EXPECT_EQ(ReadWholeFile(folder / "journal"), "earlier\n{\"request\":\"Ping\"}\n");
}

TEST(Journal, SaysOnceThatItIsNotComplete)
{
    Journal journal;
    std::string problem;
    ASSERT_TRUE(journal.Open("/dev/full", problem)) << problem;
    Request request;
    Decode(messages::ping, "", request);
    testing::internal::CaptureStderr();
    journal.Add(request);
    journal.Add(request);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "SubtitleMgrSim: the journal is not complete: No space left on device\n");
}

TEST(Journal, SaysWhyItCannotBeOpened)
{
    Journal journal;
    std::string problem;
    EXPECT_FALSE(journal.Open("/nowhere/journal", problem));
    EXPECT_EQ(problem, "journal /nowhere/journal: No such file or directory");
}

}  // namespace
