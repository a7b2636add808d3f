#include "words/truth.h"

#include <gtest/gtest.h>

using namespace words;

namespace {

TEST(Truth, ReadsWordsAndTheirOpposites)
{
    bool truth = false;
    for (const char* const word : {"t", "true", "y", "yes", "on", "1", "True", "YES"}) {
        EXPECT_TRUE(ParseTruth(word, truth) && truth) << word;
    }
    for (const char* const word : {"f", "false", "n", "no", "off", "0", "Off"}) {
        EXPECT_TRUE(ParseTruth(word, truth) && !truth) << word;
    }
}

TEST(Truth, RefusesOtherWords)
{
    bool truth = false;
    for (const char* const word : {"", "tr", "trues", "2", "-", "yes "}) {
        EXPECT_FALSE(ParseTruth(word, truth)) << word;
    }
}

}  // namespace
