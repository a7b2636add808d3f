#include "words/text.h"

#include "words/file_contents.h"

#include "tests/harness/TempDir.h"

#include <gtest/gtest.h>

using namespace words;
using Strings = std::vector<std::string>;

TEST(Split, TakesWordsBetweenBlanksUpToAComment)
{
    EXPECT_EQ(Split(" a\tbc  d\r"), (Strings{"a", "bc", "d"}));
    EXPECT_EQ(Split(" \t\r"), Strings());
    EXPECT_EQ(Split("a#b c"), (Strings{"a"}));
    EXPECT_EQ(SplitLine("\ta bc   d # e").columns, (std::vector<std::size_t>{2, 4, 9}));
}

TEST(Quoted, ShowsAtMost40CharactersAndNoControlCharacter)
{
    EXPECT_EQ(Quoted("hd"), "'hd'");
    EXPECT_EQ(Quoted(std::string(41, 'x')), "'" + std::string(40, 'x') + "...'");
    EXPECT_EQ(Quoted("\x1b[2J\x7f\xff"), std::string("'?[2J?") + "?'");
}

TEST(Hex, IsPairsOfDigits)
{
    std::vector<unsigned char> bytes;
    EXPECT_TRUE(ParseHex("00fF10", bytes));
    EXPECT_EQ(bytes, (std::vector<unsigned char>{0, 255, 16}));
    for (const char* const wrong : {"0", "0g", "-1", "0x", " 1"}) {
        EXPECT_FALSE(ParseHex(wrong, bytes)) << wrong;
    }
}

TEST(FileContents, AreReadUpToALimitAndOnlyOfFiles)
{
    const TempDir folder;
    WriteWholeFile(folder / "file", std::string("a\0b", 3));
    std::string contents;
    std::string problem;
    EXPECT_TRUE(ReadFile(folder / "file", 3, contents, problem));
    EXPECT_EQ(contents, std::string("a\0b", 3));
    const std::pair<std::string, std::string> rows[] = {
        {folder / "file", "more than 2 bytes"},
        {"/dev/zero", "not a file"},
        {"/", "Is a directory"},
        {"/no/such/file", "No such file or directory"},
    };
    for (const auto& [path, reason] : rows) {
        contents.clear();
        EXPECT_FALSE(ReadFile(path, 2, contents, problem));
        EXPECT_EQ(problem, reason);
    }
}
