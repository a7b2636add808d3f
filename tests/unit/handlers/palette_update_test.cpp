#include "tests/unit/handlers/notified_console.h"

#include <iostream>
#include <string>

namespace {

class PaletteUpdate : public NotifiedConsole {
protected:
    std::string Receive(unsigned int region, unsigned int backgroundCode, bool fill,
                        const std::string& table)
    {
        return Notify(handlePaletteUpdate,
                      Byte(region) + Byte(backgroundCode) + Byte(fill ? 1 : 0) + Counted(table));
    }
};

TEST_F(PaletteUpdate, ShowsFirstByteLastByteAndLength)
{
    EXPECT_TEXT(Receive(2, 31, true, "\x10" + std::string(62, 'x') + "\xFF"),
                "*** PalettData:  2  [0x10,...,0xff]  (64)  (Fill, 1f)\n\n");
    EXPECT_TEXT(Receive(1, 255, false, std::string(1024, '\0')),
                "*** PalettData:  1  [0x00,...,0x00]  (1024)  (NoFill, ff)\n\n");
    EXPECT_TEXT(Receive(13, 0, true, "\x09"),
                "*** PalettData:  13  [0x09,...,0x09]  (1)  (Fill, 0)\n\n");
}

TEST_F(PaletteUpdate, ShowsAnEmptyTableWithoutBlanks)
{
    EXPECT_TEXT(Receive(3, 0, false, ""), "*** PalettData:  3[empty]  (0)  (NoFill, 0)\n\n");
    EXPECT_EQ(std::cout.fill(), ' ');
    EXPECT_EQ(std::cout.flags() & std::ios_base::basefield, std::ios_base::dec);
}

TEST_F(PaletteUpdate, RestoresFlagsButNotTheFillCharacter)
{
    std::cout << std::fixed << std::left;
    const std::ios_base::fmtflags flags = std::cout.flags();
    Receive(1, 31, true, "ab");
    EXPECT_EQ(std::cout.flags(), flags);
    EXPECT_EQ(std::cout.fill(), '0');
}

TEST_F(PaletteUpdate, IsNotCountedAndKeepsTheBlanksOfTheReport)
{
    Receive(1, 31, true, "ab");
    EXPECT_TEXT(Receive(200, 0, false, ""), "*** PalettData:  200[empty]  (0)  (NoFill, 0)\n\n");
    EXPECT_TEXT(Report(), EmptyRegionReport());
}

}  // namespace
