#include "console/log_entry.h"

#include "tests/unit/console/kept_log.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace {

/// Notes when somebody makes a text of it.
struct Probe {
    bool* shown;
};

std::ostream& operator<<(std::ostream& out, const Probe& probe)
{
    *probe.shown = true;
    return out << "probe";
}

using Lines = std::vector<std::string>;

TEST(ALogEntry, BeginsWithTheClientsNameAndTheLine)
{
    const KeptLog log;
    MakeLogEntry(2, 4711, "Error opening file ", std::string("a.bin"));
    MakeLogEntry(8, 1, "( ", 0, " of ", 4294967295u, " )");
    EXPECT_EQ(log.Entries(), (Lines{"level=2 SubtitleMgrCli:4711 Error opening file a.bin",
                                    "level=8 SubtitleMgrCli:1 ( 0 of 4294967295 )"}));
}

TEST(ALogEntry, IsMadeOnlyWhenItsBitIsSet)
{
    const KeptLog log;
    for (unsigned int level = 0; level < 16; ++level) {
        LogClient::Instance().Level(level);
        MakeLogEntry(2, 1, "error at ", level);
        MakeLogEntry(8, 1, "note at ", level);
    }
    Lines expected;
    for (unsigned int level = 0; level < 16; ++level) {
        if (level == 2 || level == 3 || level == 6 || level == 7 || level == 10 || level == 11 ||
            level == 14 || level == 15) {
            expected.push_back("level=2 SubtitleMgrCli:1 error at " + std::to_string(level));
        }
        if (level >= 8) {
            expected.push_back("level=8 SubtitleMgrCli:1 note at " + std::to_string(level));
        }
    }
    EXPECT_EQ(log.Entries(), expected);
}

TEST(ALogEntry, MakesNoTextWhenItsBitIsClear)
{
    const KeptLog log;
    bool shown = false;
    LogClient::Instance().Level(8);
    MakeLogEntry(2, 1, Probe{&shown});
    EXPECT_FALSE(shown);
    MakeLogEntry(8, 1, Probe{&shown});
    EXPECT_TRUE(shown);
}

}  // namespace
