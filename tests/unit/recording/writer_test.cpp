#include "recording/writer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <vector>

using namespace recording;

namespace {

Data DataOf(const std::vector<unsigned char>& bytes) { return {bytes.data(), bytes.size()}; }

template <typename Message>
std::string Written(const Message& message)
{
    std::string text;
    AppendLine(text, message);
    return text;
}

std::string Quoted(const std::string& name)
{
    const std::string text = Written(Header{{}, name, ""});
    const std::size_t start = text.find("\"writer\":") + 9;
    return text.substr(start, text.rfind(",\"service\"") - start);
}

TEST(Writer, WritesTheFieldsOfEachRequestInOneOrder)
{
    const std::vector<unsigned char> bytes = {0xFF};
    Request request;
    request.client = 7;
    request.subscription = 1;
    request.itemId = 2;
    request.regionId = 3;
    request.subtitleFormat = 4;
    request.backgroundCode = 5;
    request.sensor = 6;
    request.level = 4294967295;
    request.on = true;
    request.data = DataOf(bytes);
    request.result = Result::Refused;
    const std::string data = R"("size":1,"crc32":"ff000000","data":"/w==")";
    const std::string expected[] = {
        R"("Ping","client":7)",
        R"("Quit","client":7)",
        R"("Subscribe","client":7,"subscription":1,"itemId":2)",
        R"("Unsubscribe","client":7,"subscription":1)",
        R"("SetRegionData","client":7,"regionId":3,"subtitleFormat":4,)" + data,
        R"("SetRegionVisibility","client":7,"regionId":3,"visible":false)",
        R"("SetPaletteData","client":7,"regionId":3,)" + data +
            R"(,"fill":false,"backgroundCode":5)",
        R"("InvertRegionData","client":7,"regionId":3)",
        R"("RefreshRegions","client":7)",
        R"("SendSensorUpdate","client":7,"on":true,"sensor":6)",
        R"("GetLogLevel","client":7)",
        R"("SetLogLevel","client":7,"level":4294967295)",
    };
    int kind = 0;
    for (const std::string& fields : expected) {
        request.kind = static_cast<RequestKind>(kind++);
        EXPECT_EQ(Written(request), R"({"monoUs":0,"wallUs":0,"request":)" + fields +
                                        R"(,"result":"refused"})"
                                        "\n");
    }
}

TEST(Writer, WritesNamesOfAnyBytesAsValidText)
{
    EXPECT_EQ(Quoted("a\"b\\c"), R"("a\"b\\c")");
    EXPECT_EQ(Quoted("\n\x1F\x7F"), "\"\\u000a\\u001f\x7F\"");
    for (const char* text : {"node1/SubtitleMgr", "\xC3\xA4\xE0\xA4\x85\xF0\x9F\x98\x80"}) {
        EXPECT_EQ(Quoted(text), '"' + std::string(text) + '"');
    }
}

TEST(Writer, ReplacesEachByteThatIsNoUtf8)
{
    for (const std::string bytes :
         {"\xFF", "\xC3", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82"}) {
        std::string replaced;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            replaced += "\xEF\xBF\xBD";
        }
        EXPECT_EQ(Quoted("a" + bytes + "z"), "\"a" + replaced + "z\"");
    }
    EXPECT_EQ(Quoted("\xE2\x82"), "\"\xEF\xBF\xBD\xEF\xBF\xBD\"");
}

TEST(Now, HasTheTimesOfTwoClocks)
{
    using namespace std::chrono;
    const auto us = [](auto time) { return duration_cast<microseconds>(time).count(); };
    const Moment before{us(steady_clock::now().time_since_epoch()),
                        us(system_clock::now().time_since_epoch())};
    const Moment now = Now();
    EXPECT_LE(before.monoUs, now.monoUs);
    EXPECT_LE(now.monoUs, us(steady_clock::now().time_since_epoch()));
    EXPECT_LE(before.wallUs, now.wallUs);
    EXPECT_LE(now.wallUs, us(system_clock::now().time_since_epoch()));
}

}  // namespace
