#include "console/prompts.h"

#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(AMenuKey, IsOneCharacterBehindWhiteSpace)
{
    TypedInput input(" \n\t 12\n");
    char key = 0;
    ReadMenuKey(key);
    EXPECT_EQ(key, '1');
    ReadMenuKey(key);
    EXPECT_EQ(key, '2');
    EXPECT_EQ(input.Rest(), "\n");
}

TEST(AMenuKey, KeepsItsValueAtTheEndOfTheInput)
{
    const TypedInput input(" \n");
    char key = 's';
    ReadMenuKey(key);
    EXPECT_EQ(key, 's');
}

TEST(ANumber, IsAskedForWithoutALineEnd)
{
    const TypedInput input("12\n");
    unsigned int number = 0;
    EXPECT_TEXT(OutputOf([&] { AskNumber("Enter region ID: ", number); }), "Enter region ID: ");
    EXPECT_EQ(number, 12u);
}

TEST(ANumber, LeavesTheRestOfItsLine)
{
    TypedInput input("\n  7x\n");
    unsigned int number = 0;
    OutputOf([&] { AskNumber("", number); });
    EXPECT_EQ(number, 7u);
    EXPECT_EQ(input.Rest(), "x\n");
}

TEST(ANumber, IsDecimal)
{
    const TypedInput input("010");
    unsigned int number = 0;
    OutputOf([&] { AskNumber("", number); });
    EXPECT_EQ(number, 10u);
}

TEST(ANumber, MayBeTheLargestOf32Bits)
{
    const TypedInput input("4294967295 ");
    unsigned int number = 0;
    OutputOf([&] { AskNumber("", number); });
    EXPECT_EQ(number, 4294967295u);
}

TEST(ANumber, BecomesZeroWhenItDoesNotParseAndSpoilsEveryLaterRead)
{
    const TypedInput input("seven 8 9 word t\n");
    unsigned int first = 5;
    unsigned int second = 6;
    char key = 'k';
    std::string word;
    bool yes = true;
    EXPECT_TEXT(OutputOf([&] {
                    AskNumber("1? ", first);
                    AskNumber("2? ", second);
                    word = AskWord("3? ");
                    yes = AskYesNo("4? ");
                    DiscardOneCharacter();
                    ReadMenuKey(key);
                }),
                "1? 2? 3? 4? ");
    EXPECT_EQ(first, 0u);
    EXPECT_EQ(second, 6u);
    EXPECT_EQ(word, "");
    EXPECT_FALSE(yes);
    EXPECT_EQ(key, 'k');
    EXPECT_TRUE(std::cin.fail());
}

TEST(ANumber, KeepsItsValueAtTheEndOfTheInput)
{
    const TypedInput input("");
    unsigned int number = 42;
    OutputOf([&] { AskNumber("", number); });
    EXPECT_EQ(number, 42u);
}

TEST(AWord, EndsAtWhiteSpace)
{
    TypedInput input("  my file.bin\n");
    std::string word;
    EXPECT_TEXT(OutputOf([&] { word = AskWord("Enter filename:  "); }), "Enter filename:  ");
    EXPECT_EQ(word, "my");
    EXPECT_EQ(input.Rest(), " file.bin\n");
}

TEST(AYesNoAnswer, IsUnderstoodByTheStringLibrary)
{
    const TypedInput input("t f TRUE no maybe yes\n");
    std::string answers;
    OutputOf([&] {
        for (int i = 0; i < 6; ++i) {
            answers += AskYesNo("(t/f): ") ? '+' : '-';
        }
    });
    EXPECT_EQ(answers, "+-+--+");
}

TEST(Discarding, TakesExactlyOneCharacter)
{
    TypedInput input("\n\nx");
    DiscardOneCharacter();
    EXPECT_EQ(input.Rest(), "\nx");
}

}  // namespace
