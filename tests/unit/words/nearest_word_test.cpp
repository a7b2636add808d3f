#include "words/nearest_word.h"

#include <gtest/gtest.h>

using namespace words;

namespace {

const std::vector<std::string_view> kinds = {"data", "visibility", "palette"};

TEST(NearestWord, CorrectsOneTypingErrorOfEachSort)
{
    EXPECT_EQ(NearestWord("palete", kinds), "palette");    // missing
    EXPECT_EQ(NearestWord("palettte", kinds), "palette");  // surplus
    EXPECT_EQ(NearestWord("pblette", kinds), "palette");   // wrong
    EXPECT_EQ(NearestWord("paeltte", kinds), "palette");   // swapped
    EXPECT_EQ(NearestWord("PALETTE", kinds), "palette");
}

TEST(NearestWord, AllowsAnErrorForEachThreeCharacters)
{
    EXPECT_EQ(NearestWord("visbilty", kinds), "visibility");
    EXPECT_EQ(NearestWord("palet", kinds), "palette");
    EXPECT_EQ(NearestWord("pal", kinds), "");
    EXPECT_EQ(NearestWord("dxtx", kinds), "");
}

TEST(NearestWord, IsEmptyForAnUnrelatedWord)
{
    EXPECT_EQ(NearestWord("refresh", kinds), "");
    EXPECT_EQ(NearestWord("", kinds), "");
    EXPECT_EQ(NearestWord(std::string(1000000, 'p'), kinds), "");
    EXPECT_EQ(NearestWord("data", {}), "");
    EXPECT_EQ(NearestWord("y", {"t", "f"}), "");
}

TEST(NearestWord, IsTheFirstWordWithTheFewestErrors)
{
    EXPECT_EQ(NearestWord("cit", {"cat", "cif"}), "cat");
    EXPECT_EQ(NearestWord("cif", {"cid", "cif"}), "cif");
}

TEST(Suggestion, IsEmptyOrAQuestion)
{
    EXPECT_EQ(Suggestion("dat", kinds), "; did you mean data?");
    EXPECT_EQ(Suggestion("refresh", kinds), "");
}

}  // namespace
