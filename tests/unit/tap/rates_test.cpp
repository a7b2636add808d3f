#include "tap/rates.h"

#include <gtest/gtest.h>

using namespace tap;

namespace {

TEST(Rates, CountEachRegionAndBeginAgainAfterEachLine)
{
    Rates rates;
    rates.Add(3, 100);
    rates.Add(255, 2);
    rates.Add(3, 50);
    std::string text;
    rates.AppendText(text);
    rates.AppendText(text);
    EXPECT_EQ(text, "region 3: messages 2, bytes 150; region 255: messages 1, bytes 2\nnothing\n");
}

TEST(Rates, CanBeJson)
{
    Rates rates;
    std::string text;
    rates.AppendJson(text, {1, 2});
    rates.Add(0, 1);
    rates.Add(1, 7);
    rates.AppendJson(text, {1000001, 1000002});
    EXPECT_EQ(text,
              R"({"monoUs":1,"wallUs":2,"regions":[]})"
              "\n"
              R"({"monoUs":1000001,"wallUs":1000002,"regions":[)"
              R"({"regionId":0,"messages":1,"bytes":1},{"regionId":1,"messages":1,"bytes":7}]})"
              "\n");
}

}  // namespace
