#include "control/report.h"
#include "tests/harness/text_compare.h"

#include <gtest/gtest.h>

using namespace control;

namespace {

Value Parsed(const std::string& json)
{
    Value value;
    EXPECT_TRUE(ParseObject(json, value)) << json;
    return value;
}

TEST(Report, ShowsTheFieldsOfAnAnswer)
{
    const std::pair<const char*, const char*> rows[] = {
        {R"({"ok":true})", ""},
        {R"({"ok":true,"receivers":2})", "receivers: 2\n"},
        {R"({"ok":true,"positionUs":1500250})", "position: 1.500 s\n"},
        {R"({"ok":true,"backlogBytes":7,"stalled":false})", "backlog bytes: 7\nstalled: no\n"},
        {R"({"ok":true,"faults":[]})", "faults: none\n"},
        {R"({"ok":true,"play":null})", "play: none\n"},
        {R"({"ok":true,"faults":[{"id":1,"kind":"mute"},{"id":2,"delayUs":2000000}]})",
         "faults: id 1, kind mute\nfaults: id 2, delay 2.000 s\n"},
        {R"({"ok":true,"text":"a\u001b[2Jb\n"})", "text: a?[2Jb?\n"},
    };
    for (const auto& [json, text] : rows) {
        EXPECT_TEXT(FieldLines(Parsed(json)), text);
    }
}

/// A service with two regions and two clients.
const char* const busy =
    R"({"ok":true,"regions":[{"regionId":3,"bitmaps":[{"subtitleFormat":0,"size":5,)"
    R"("crc32":"7b35f858"}],)"
    R"("visible":true,"palette":{"size":2,"crc32":"2619ef23","fill":true,)"
    R"("backgroundCode":31},"publications":14,"bytes":20000},)"
    R"({"regionId":14,"bitmaps":[{"subtitleFormat":7,"size":0,"crc32":"00000000"}],)"
    R"("visible":false,"publications":1,"bytes":5}],)"
    R"("sensors":[false,true,false,false,false,true],"level":63,"clients":[)"
    R"({"client":1,"subscriptions":[1,6,10],"backlog":0,"backlogBytes":0,"lost":0,)"
    R"("stalled":false},{"client":12,"subscriptions":[],"backlog":256,)"
    R"("backlogBytes":1048576,"lost":9,"stalled":true}],)"
    R"("counters":{"requests":5,"refused":0},"faults":[],)"
    R"("play":{"file":"drive.jsonl","state":"playing","positionUs":1500000}})";

TEST(Report, ShowsTheStateOfTheService)
{
    EXPECT_TEXT(StateReport(Parsed(busy)),
                R"(counters: requests 5, refused 0
sensors on: Lights, Mics
level: 63
faults: none
play: file drive.jsonl, state playing, position 1.500 s

REGION  SHOWN    MESSAGES  BYTES  PALETTE                          BITMAPS
     3  visible        14  20000  2 (2619ef23) fill background 31  hd 5 (7b35f858)
    14  hidden          1      5  -                                format 7 0 (00000000)

CLIENT  BACKLOG    BYTES  LOST  STALLED  SUBSCRIPTIONS
     1        0        0     0  no       1, 6, 10
    12      256  1048576     9  yes      none
)");
}

TEST(Report, ShowsRatesSinceAnEarlierState)
{
    const Before before{Parsed(R"({"regions":[{"regionId":3,"publications":4,"bytes":20001}],)"
                               R"("counters":{"requests":2}})"),
                        2.0};
    EXPECT_EQ(CounterLine(Parsed(busy), before), "counters: requests 5 (2/s), refused 0 (-/s)\n");
    EXPECT_TEXT(
        RegionTable(Parsed(busy), before, 1),
        "REGION  SHOWN    MESSAGES  /S  BYTES  /S  PALETTE                          BITMAPS\n"
        "     3  visible        14   5  20000   -  2 (2619ef23) fill background 31  "
        "hd 5 (7b35f858)\n"
        "and 1 more\n");
}

}  // namespace
