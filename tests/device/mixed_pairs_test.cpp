// Programs of the device and programs of the desk on one socket: whatever the pair, everything they
// print, log, write and journal is byte for byte what the desk's own pair leaves behind.

#include "tests/device/PairSession.h"
#include "tests/harness/SimulatedService.h"
#include "tests/harness/console_texts.h"
#include "tests/harness/text_compare.h"

#include <gtest/gtest.h>

namespace {

class AMixedPair : public testing::Test {
protected:
    static void SetUpTestSuite() { desk = PlaySession({DESK_CLIENT, DESK_SERVICE}); }

    static void ExpectTheSameAsAtTheDesk(const ProgramPair& programs)
    {
        const PairTranscript pair = PlaySession(programs);
        EXPECT_TEXT(pair.editor, desk.editor);
        EXPECT_TEXT(pair.editorErrors, desk.editorErrors);
        EXPECT_TEXT(pair.editorLog, desk.editorLog);
        EXPECT_TEXT(pair.convertedTable, desk.convertedTable);
        EXPECT_TEXT(pair.watcher, desk.watcher);
        EXPECT_TEXT(pair.watcherErrors, desk.watcherErrors);
        EXPECT_TEXT(pair.journal, desk.journal);
        EXPECT_TEXT(pair.comments, desk.comments);
    }

    static PairTranscript desk;
};

PairTranscript AMixedPair::desk;

bool Contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

}  // namespace

TEST_F(AMixedPair, IsComparedWithASessionThatSaysSomething)
{
    EXPECT_TRUE(Contains(desk.editor, "Successful Ping\nLog level of SubtitleMgr is 4294967294\n"));
    EXPECT_TRUE(Contains(desk.editor, "4 rows by 6 columns,  24 colors\n\n  0  100  200"));
    EXPECT_TRUE(Contains(desk.editor, "Sent sensor =5  ON\n"));
    EXPECT_TEXT(desk.editorErrors, "Shut down Requested\n");
    EXPECT_TRUE(Contains(desk.editorLog, "Error reading file ( 1000 of 100000 )\n"));
    EXPECT_EQ(desk.convertedTable.size(), 1024u);
    EXPECT_TRUE(Contains(desk.watcher, "Unexpected subtitle data value: 0x80\n"));
    EXPECT_TRUE(
        Contains(desk.watcher, "*** PalettData:  128  [0x00,...,0x2e]  (300)  (NoFill, 80)"));
    EXPECT_TRUE(Contains(desk.watcher, EmptyRegionReport()));
    EXPECT_TEXT(desk.watcherErrors, "");
    EXPECT_TRUE(Contains(desk.journal, R"("request":"SendSensorUpdate","on":false,"sensor":4})"));
    EXPECT_TRUE(Contains(desk.comments, "SendSensorUpdate"));
}

TEST_F(AMixedPair, OfADeviceClientAndADeskServiceLeavesTheSameBehind)
{
    ExpectTheSameAsAtTheDesk({ClientProgram(), DESK_SERVICE});
}

TEST_F(AMixedPair, OfADeskClientAndADeviceServiceLeavesTheSameBehind)
{
    ExpectTheSameAsAtTheDesk({DESK_CLIENT, ServiceProgram()});
}

TEST_F(AMixedPair, MayAsWellBeTheDevicesOwn)
{
    ExpectTheSameAsAtTheDesk({ClientProgram(), ServiceProgram()});
}
