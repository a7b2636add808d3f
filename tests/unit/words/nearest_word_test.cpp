#include "words/nearest_word.h"

#include <gtest/gtest.h>

using namespace words;

namespace {

const std::vector<std::string_view> kinds = {"data", "visibility", "palette"};

TEST(NearestWord, AllowsATypingErrorForEachThreeCharacters)
{
    for (const char* misspelt : {"palete", "palettte", "pblette", "paeltte", "PALETTE", "palet"}) {
        EXPECT_EQ(NearestWord(misspelt, kinds), "palette") << misspelt;
    }
    EXPECT_EQ(NearestWord("visbilty", kinds), "visibility");
    for (const char* unrelated : {"pal", "dxtx", "refresh", ""}) {
        EXPECT_EQ(NearestWord(unrelated, kinds), "") << unrelated;
    }
    EXPECT_EQ(NearestWord(std::string(1000000, 'p'), kinds), "");
    EXPECT_EQ(NearestWord("y", {"t", "f"}), "");
}

TEST(NearestWord, IsTheFirstWordWithTheFewestErrors)
{
    EXPECT_EQ(NearestWord("cit", {"cat", "cif"}), "cat");
    EXPECT_EQ(NearestWord("cif", {"cid", "cif"}), "cif");
}

}  // namespace
