#include "tests/support/TempDir.h"
#include "tests/unit/console/console_run.h"

#include <cstddef>
#include <string>

namespace {

const std::string prompts = "Enter region ID:   Enter filename:    RGB palette (t/f): ";

/// 256 black entries, each with its number as the fourth byte.
std::string BlackTable()
{
    std::string table;
    for (int i = 0; i < 256; ++i) {
        table += std::string("\0\0\0", 3) + static_cast<char>(static_cast<unsigned char>(i));
    }
    return table;
}

/// The same converted: Y 16, Cb and Cr 128.
std::string ConvertedBlackTable()
{
    std::string table;
    for (int i = 0; i < 256; ++i) {
        table += "\x10\x80\x80";
        table += static_cast<char>(static_cast<unsigned char>(i));
    }
    return table;
}

class ModifyPaletteData : public ConsoleRun {
protected:
    ModifyPaletteData() { WriteWholeFile(files / "pal.bin", BlackTable()); }

    /// What the command prints between the two menus, for these answers behind the file name.
    std::string Answers(const std::string& file, const std::string& answers)
    {
        const std::string output = Run("5\n2\n" + file + "\n" + answers + "\nx\n");
        const std::string menu = UnsubscribedMenu();
        EXPECT_TEXT(output.substr(0, menu.size()), menu);
        EXPECT_TEXT(output.substr(output.size() - menu.size()), menu);
        EXPECT_TEXT(errors, "");
        return output.substr(menu.size(), output.size() - 2 * menu.size());
    }

    std::string Written() const { return ReadWholeFile(files / "pal.bin.out"); }

    TempDir files;
};

TEST_F(ModifyPaletteData, ConvertsAnRgbTableAndWritesItBesideTheFile)
{
    EXPECT_TEXT(Answers(files / "pal.bin", "t\nf"),
                prompts + "Converting palette of size 1024...Done\n\nTransparent pixel? (t/f): ");
    EXPECT_TEXT(Written(), ConvertedBlackTable());
    EXPECT_TEXT(ReadWholeFile(files / "pal.bin"), BlackTable());
}

TEST_F(ModifyPaletteData, MarksTheTransparentEntryWithAYOfZero)
{
    EXPECT_TEXT(Answers(files / "pal.bin", "t\nt\n7"),
                prompts + "Converting palette of size 1024...Done\n\nTransparent pixel? (t/f): "
                          "Transparent pixel value:   ");
    std::string expected = ConvertedBlackTable();
    expected[28] = '\0';
    EXPECT_TEXT(Written(), expected);
}

TEST_F(ModifyPaletteData, MarksTheLastEntry)
{
    Answers(files / "pal.bin", "t\nt\n255");
    std::string expected = ConvertedBlackTable();
    expected[1020] = '\0';
    EXPECT_TEXT(Written(), expected);
}

TEST_F(ModifyPaletteData, RefusesAnEntryAbove255AndGoesOn)
{
    EXPECT_TEXT(Answers(files / "pal.bin", "t\nt\n256"),
                prompts + "Converting palette of size 1024...Done\n\nTransparent pixel? (t/f): "
                          "Transparent pixel value:   \nERROR: pixel value out of range\n\n");
    EXPECT_TEXT(Written(), ConvertedBlackTable());
}

TEST_F(ModifyPaletteData, SkipsATransparentEntryBeyondATableThatCouldNotBeRead)
{
    for (const std::string entry : {"0", "255"}) {
        EXPECT_TEXT(Answers(files / "none", "t\nt\n" + entry),
                    prompts + "Converting palette of size 0...Done\n\nTransparent pixel? (t/f): "
                              "Transparent pixel value:   ");
        EXPECT_TEXT(ReadWholeFile(files / "none.out"), "");
    }
}

TEST_F(ModifyPaletteData, LeavesTheOutputOfAnEarlierRunWhenTheFileCannotBeRead)
{
    WriteWholeFile(files / "short", "a table of 23 bytes ...");
    WriteWholeFile(files / "short.out", "of an earlier run");
    EXPECT_TEXT(Answers(files / "short", "t\nf"),
                prompts + "Converting palette of size 0...Done\n\nTransparent pixel? (t/f): ");
    EXPECT_TEXT(ReadWholeFile(files / "short.out"), "of an earlier run");
}

TEST_F(ModifyPaletteData, TakesTheFirst1024BytesOfALongerFile)
{
    WriteWholeFile(files / "pal.bin", BlackTable() + "more");
    Answers(files / "pal.bin", "t\nf");
    EXPECT_TEXT(Written(), ConvertedBlackTable());
}

TEST_F(ModifyPaletteData, AsksForTheSettingsOfAConvertedTableAndWritesNothing)
{
    EXPECT_TEXT(Answers(files / "pal.bin", "f\n31\nt"),
                prompts + "Background code:   Region Fill (t/f): ");
    EXPECT_TEXT(Written(), "");
}

TEST_F(ModifyPaletteData, DiscardsOneCharacterBehindTheLastAnswer)
{
    EXPECT_TEXT(Answers(files / "pal.bin", "f 1 t "),
                prompts + "Background code:   Region Fill (t/f): ");
    EXPECT_EQ(rest, "\n");
    EXPECT_TEXT(Answers(files / "pal.bin", "t t 7s"),
                prompts + "Converting palette of size 1024...Done\n\nTransparent pixel? (t/f): "
                          "Transparent pixel value:   ");
}

}  // namespace
