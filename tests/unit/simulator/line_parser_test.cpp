#include "simulator/play/line_parser.h"

#include "tests/harness/TempDir.h"
#include "tests/harness/frames.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

using namespace sim;
using words::Place;

class ControlLine : public testing::Test {
protected:
    /// The bytes that a line publishes.
    std::string Published(const std::string& text)
    {
        const words::Line line = words::SplitLine(text);
        Step step;
        EXPECT_NE(parser.Find(line), nullptr);
        EXPECT_TRUE(parser.Publication(line, step)) << text;
        return step.frame ? BytesOf(step.frame) : "";
    }

    /// all mistakes of a line, each on its own line.
    std::string MistakesOf(const std::string& text)
    {
        const words::Line line = words::SplitLine(text);
        Step step;
        std::int64_t us = 0;
        if (const words::Directive* const directive = parser.Find(line)) {
            const bool isRead = directive->word == "sleep" ? parser.Sleep(line, us)
                                : directive->word == "wait-subscribers"
                                    ? parser.WaitSubscribers(line, step)
                                    : parser.Publication(line, step);
            EXPECT_EQ(isRead, parser.Mistakes().empty()) << text;
        }
        std::string all;
        for (const LineMistake& mistake : parser.Mistakes()) {
            all += std::to_string(mistake.column) + ": " + mistake.reason + "\n";
        }
        return all;
    }

    const TempDir folder;
    LineParser parser{Place::Control, folder.Path() + "/"};
};

TEST_F(ControlLine, PublishesRecordsWithWordsForNumbers)
{
    const auto bitmap = [](unsigned int subscription, unsigned int format) {
        return NotificationBytes(subscription, 15129, RegionDataRecord(3, format, "\x10\xff"));
    };
    EXPECT_EQ(Published("region-data 3 hd 10ff"), bitmap(2, 0));
    EXPECT_EQ(Published("region-data 3 sd 10ff"), bitmap(3, 1));
    EXPECT_EQ(Published("region-data 3 cif 10FF"), bitmap(4, 2));
    EXPECT_EQ(Published("region-data 3 255 10ff"), bitmap(12, 255));
    EXPECT_EQ(Published("visibility 3 yes"),
              NotificationBytes(6, 15132, VisibilityRecord(3, true)));
    EXPECT_EQ(Published("palette 2 31 off 10ff"),
              NotificationBytes(10, 15133, PaletteRecord(2, 31, false, "\x10\xff")));
}

TEST_F(ControlLine, WaitsAndLogs)
{
    const words::Line wait = words::SplitLine("wait-subscribers 10");
    Step step;
    ASSERT_TRUE(parser.Find(wait) != nullptr && parser.WaitSubscribers(wait, step));
    EXPECT_EQ(step.kind, Step::Kind::WaitSubscribers);
    EXPECT_EQ(step.subscription, 10u);
    const words::Line log = words::SplitLine("log  brightness \t \x1b[2J \xc3\xbc # not this");
    ASSERT_TRUE(parser.Find(log) != nullptr && parser.Log(log, step));
    EXPECT_EQ(step.kind, Step::Kind::Log);
    EXPECT_EQ(*step.text, "brightness ?[2J \xc3\xbc");
    std::int64_t us = 0;
    for (const auto& [text, expected] :
         {std::pair("sleep 0.5", 500), std::pair("sleep 2s", 2000000)}) {
        const words::Line sleep = words::SplitLine(text);
        EXPECT_TRUE(parser.Find(sleep) != nullptr && parser.Sleep(sleep, us)) << text;
        EXPECT_EQ(us, expected) << text;
    }
}

TEST_F(ControlLine, IsRefusedWithEachMistake)
{
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    const struct {
        const char* line;
        const char* mistakes;
    } rows[] = {
        {"\tpalete 1", "2: unknown directive 'palete'; did you mean palette?\n"},
        {"region-data 256 2 00", "13: region '256' is not a number from 0 to 255\n"},
        {"region-data 1 CIF 00",
         "15: format 'CIF' is not hd, sd, cif or a number from 0 to 255; did you mean cif?\n"},
        {"palette 1 256 t -", "11: background code '256' is not a number from 0 to 255\n"},
        {"visibility 3 ture", "14: visible 'ture' is not true or false; did you mean true?\n"},
        {"palette 3 1 2 -", "13: fill '2' is not true or false\n"},
        {"region-data 3 2 0", "17: '0' is not hex bytes, @FILE or -\n"},
        {"region-data 3 2 g0", "17: 'g0' is not hex bytes, @FILE or -\n"},
        {"region-data 1 0 @missing", "17: '@missing' cannot be read: No such file or directory\n"},
        {"region-data 1 0 @", "17: '@' cannot be read: Is a directory\n"},
        {"region-data 1 0 @fifo", "17: '@fifo' cannot be read: not a file\n"},
        {"sleep 1m", "7: '1m' is not a time like 500 (milliseconds), 500ms or 2s\n"},
        {"wait-subscribers 5",
         "18: there is no subscription '5'; there are 1, 2, 3, 4, 6, 10 and 12\n"},
        {" region-data x hdd 0g",
         "14: region 'x' is not a number from 0 to 255\n"
         "16: format 'hdd' is not hd, sd, cif or a number from 0 to 255; did you mean hd?\n"
         "20: '0g' is not hex bytes, @FILE or -\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(MistakesOf(row.line), row.mistakes);
    }
    EXPECT_EQ(MistakesOf("region-data 1 2 00"), "") << "the mistakes of an earlier line are kept";
}

}  // namespace
