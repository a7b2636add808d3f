#include "control/command_line.h"
#include "words/text.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace control;

namespace {

/// The line that is sent for a command, or the reason why none is.
std::string LineOf(const std::string& command)
{
    std::string line;
    std::string problem;
    return MakeLine(words::Split(command), line, problem) ? line : "refused: " + problem;
}

TEST(CommandLine, MakesFileNamesAbsolute)
{
    const std::string here = std::filesystem::current_path().string();
    EXPECT_EQ(LineOf("play drive.jsonl rate=2 loop"), "play " + here + "/drive.jsonl rate=2 loop");
    EXPECT_EQ(LineOf("save now.state"), "save " + here + "/now.state");
    EXPECT_EQ(LineOf("restore /tmp/now.state"), "restore /tmp/now.state");
    EXPECT_EQ(LineOf("record off.jsonl"), "record " + here + "/off.jsonl");
    EXPECT_EQ(LineOf("region-data 3 cif @bitmap"), "region-data 3 cif @" + here + "/bitmap");
    EXPECT_EQ(LineOf("palette 3 31 t @bytes"), "palette 3 31 t @" + here + "/bytes");
}

TEST(CommandLine, LeavesOtherWordsAlone)
{
    for (const char* line : {"record off", "state", "log @play save", "region-data 3 cif -",
                             "await request=Ping within=2s", "fault mute request=Ping times=1"}) {
        EXPECT_EQ(LineOf(line), line);
    }
    EXPECT_EQ(LineOf(" visibility\t3   t # shown"), "visibility 3 t");
    EXPECT_EQ(LineOf(" # nothing"), "");
}

TEST(CommandLine, RefusesWhatIsNoCommand)
{
    EXPECT_EQ(LineOf("stte"), "refused: unknown command 'stte'; did you mean state?");
    EXPECT_EQ(LineOf("pnig"), "refused: unknown command 'pnig'; did you mean ping?");
    EXPECT_EQ(LineOf("repeat 3"), "refused: repeat is allowed only in a scenario");
    EXPECT_EQ(LineOf("visibility 3"), "refused: expected: visibility REGION true|false");
}

TEST(CommandLine, RefusesWhatCannotBeSent)
{
    std::string line;
    std::string problem;
    EXPECT_FALSE(MakeLine({"save", "my state"}, line, problem));
    EXPECT_NE(problem.find("a path with a blank or # cannot be sent"), std::string::npos);
    EXPECT_FALSE(MakeLine({"log", "one\nstate"}, line, problem));
    EXPECT_EQ(problem, "a newline cannot be sent");
    EXPECT_TRUE(MakeLine({"log", std::string(longestLine - 4, 'a')}, line, problem));
    EXPECT_FALSE(MakeLine({"log", std::string(longestLine - 3, 'a')}, line, problem));
    EXPECT_EQ(problem, "the line is longer than 64 KiB");
}

TEST(CommandLine, KnowsHowLongTheServiceWaits)
{
    const std::pair<const char*, std::int64_t> rows[] = {
        {"", 0},
        {"state", 0},
        {"fault late within=3s", 0},
        {"await request=Ping regionId=3 within=500ms", 500000},
        {"await subscribers=10 within=60", 60000000},
        {"await subscribers=10 within=soon", 10000000},
        {"sleep 500", 500000},
        {"sleep long", 0},
    };
    for (const auto& [command, us] : rows) {
        EXPECT_EQ(WaitOf(words::Split(command)), us) << command;
    }
}

}  // namespace
