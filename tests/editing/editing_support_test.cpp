// What the tests of the editing commands compare with, against values known from elsewhere.

#include "tests/editing/EditingSession.h"
#include "tests/editing/expected_bytes.h"
#include "tests/support/RawPeer.h"

TEST(ExpectedJournalLines, HaveTheUsualCheckValueOfTheCrc)
{
    EXPECT_EQ(HexCrc("123456789"), "cbf43926");
    EXPECT_EQ(HexCrc(""), "00000000");
}

TEST(ExpectedPatterns, PaintSegmentsAndLeaveTheRest)
{
    const PatternPass pass = PaintPattern(std::string(30720, '\x63'), 250, 8, 300, 40);
    EXPECT_EQ(pass.text, "Generating test pattern: 1 rows by 2 columns,  2 colors\n\n  0  300\n\n");
    std::string line =
        std::string(300, '\xfa') + std::string(300, '\x02') + std::string(40, '\x63');
    std::string bytes;
    for (int y = 0; y < 40; ++y) {
        bytes += line;
    }
    EXPECT_TRUE(pass.bytes == bytes + std::string(8 * 640, '\x63'));
}

TEST(ExpectedPalettes, ConvertWholeEntriesOnly)
{
    EXPECT_TEXT(ConvertedPalette(Bytes({255, 255, 255, 7, 0, 0, 0, 8, 1, 2, 3})),
                Bytes({234, 128, 128, 7, 16, 128, 128, 8, 1, 2, 3}));
}

TEST(ParsedLogs, TakeAnEntryApart)
{
    const auto entries = ParseLog("2026-01-31T12:00:00.250Z SubtitleMgrCli[17] level=8 "
                                  "SubtitleMgrCli:59 Some text  with blanks \n");
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].level, 8u);
    EXPECT_EQ(entries[0].sourceLine, 59u);
    EXPECT_EQ(entries[0].text, "Some text  with blanks ");
}

TEST(ParsedLogs, KeepAnEntryOfAnotherFormWhole)
{
    const std::string rest = " SubtitleMgrCli[17] level=8 SubtitleMgrCli:59 text";
    for (const std::string& line :
         {"2026-01-31 12:00:00" + rest,
          std::string("2026-01-31T12:00:00.250Z SubtitleMgrCli[17] "
                      "level=8 SubtitleMgrCli.cpp:59 text"),
          std::string("2026-01-31T12:00:00.250Z SubtitleMgrCli[17] level=8 a text"),
          std::string("level="), std::string()}) {
        const auto entries = ParseLog(line + "\n");
        ASSERT_EQ(entries.size(), 1u);
        EXPECT_EQ(entries[0].level, 0u) << line;
        EXPECT_EQ(entries[0].text, line);
    }
}
