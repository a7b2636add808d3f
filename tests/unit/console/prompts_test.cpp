#include "console/prompts.h"

#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(MenuKey, IsOneCharacterAfterWhiteSpace)
{
    TypedInput input(" \n\t 12\n");
    char key = 0;
    ReadMenuKey(key);
    EXPECT_EQ(key, '1');
    ReadMenuKey(key);
    EXPECT_EQ(key, '2');
    EXPECT_EQ(input.Rest(), "\n");
    ReadMenuKey(key);
    EXPECT_EQ(key, '2') << "the key changed at the end of the input";
}

struct TypedNumber {
    const char* name;
    const char* typed;
    unsigned int number;
    const char* rest;
};

class TypedNumbers : public testing::TestWithParam<TypedNumber> {};

TEST_P(TypedNumbers, AreRead)
{
    TypedInput input(GetParam().typed);
    unsigned int number = 42;
    EXPECT_TEXT(OutputOf([&] { AskNumber("Enter region ID: ", number); }), "Enter region ID: ");
    EXPECT_EQ(number, GetParam().number);
    if (!std::cin.fail()) {
        EXPECT_EQ(input.Rest(), GetParam().rest);
    }
}

INSTANTIATE_TEST_SUITE_P(, TypedNumbers,
                         testing::Values(TypedNumber{"Decimal", "010\n", 10, "\n"},
                                         TypedNumber{"BeforeOtherText", "\n  7x\n", 7, "x\n"},
                                         TypedNumber{"Largest", "4294967295 ", 4294967295u, " "},
                                         TypedNumber{"Word", "seven", 0, ""},
                                         TypedNumber{"EndOfInput", "", 42, ""}),
                         [](const auto& tested) { return tested.param.name; });

TEST(Number, BlocksEveryLaterReadWhenItDoesNotParse)
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

TEST(Word, EndsAtWhiteSpace)
{
    TypedInput input("  my file.bin\n");
    std::string word;
    EXPECT_TEXT(OutputOf([&] { word = AskWord("Enter filename:  "); }), "Enter filename:  ");
    EXPECT_EQ(word, "my");
    EXPECT_EQ(input.Rest(), " file.bin\n");
}

TEST(YesNoAnswer, IsUnderstoodByTheStringLibrary)
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
