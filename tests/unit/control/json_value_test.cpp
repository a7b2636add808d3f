#include "control/json_value.h"

#include <gtest/gtest.h>

using namespace control;

namespace {

TEST(JsonValue, KeepsEveryType)
{
    Value value;
    ASSERT_TRUE(
        ParseObject(R"({"no":null,"ok":true,"off":false,"n":18446744073709551615,"f":-1.50,)"
                    R"("t":"a\"\u00e4","list":[1,[],{"deep":[true]}],"empty":{}})",
                    value));
    EXPECT_FALSE(value.Has("no"));
    EXPECT_TRUE(value["ok"].IsTrue());
    EXPECT_FALSE(value["off"].IsTrue());
    EXPECT_EQ(value["n"].Number(), 18446744073709551615u);
    EXPECT_EQ(value["f"].text, "-1.50");
    EXPECT_EQ(value["f"].Number(), 0u);
    EXPECT_EQ(value["t"].text, "a\"\xC3\xA4");
    ASSERT_EQ(value["list"].items.size(), 3u);
    EXPECT_EQ(value["list"].items[0].Number(), 1u);
    EXPECT_TRUE(value["list"].items[2]["deep"].items[0].IsTrue());
    EXPECT_TRUE(value["empty"].fields.empty());
    EXPECT_EQ(value["missing"].type, Value::Type::Null);
}

TEST(JsonValue, RefusesEverythingButOneObject)
{
    Value value;
    for (const char* text : {"", "[]", "1", "{", "{}{}", "{\"a\":\"\xFF\"}"}) {
        EXPECT_FALSE(ParseObject(text, value)) << text;
    }
    EXPECT_FALSE(ParseObject(std::string("{}\0", 3), value));
    EXPECT_TRUE(ParseObject(" {} ", value));
}

TEST(JsonValue, LimitsTheDepth)
{
    const auto nested = [](std::size_t depth) {
        return R"({"a":)" + std::string(depth, '[') + std::string(depth, ']') + "}";
    };
    Value value;
    EXPECT_TRUE(ParseObject(nested(30), value));
    EXPECT_FALSE(ParseObject(nested(32), value));
    EXPECT_FALSE(ParseObject(nested(100000), value));
}

}  // namespace
