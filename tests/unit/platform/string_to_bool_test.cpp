#include <StringUtilities.h>

#include <gtest/gtest.h>

namespace {

TEST(StringToBool, IsTrueForTheseWordsInAnyCaseOnly)
{
    for (const char* word :
         {"t", "T", "true", "TRUE", "True", "y", "Y", "yes", "yEs", "on", "ON", "1"}) {
        EXPECT_TRUE(StringUtilities::StringToBool(word)) << word;
    }
    for (const char* word : {"", "f", "false", "n", "no", "off", "0", "2", "11", "tt", "true ",
                             " t", "wahr", "yess", "\xD4"}) {
        EXPECT_FALSE(StringUtilities::StringToBool(word)) << word;
    }
}

}  // namespace
