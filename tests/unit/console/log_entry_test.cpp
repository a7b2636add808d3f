#include "console/log_entry.h"

#include "tests/unit/console/kept_log.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace {

using Lines = std::vector<std::string>;

TEST(LogEntry, BeginsWithTheClientsNameAndTheLine)
{
    const KeptLog log;
    MakeLogEntry(2, 4711, "Error opening file ", std::string("a.bin"));
    MakeLogEntry(8, 1, "( ", 0, " of ", 4294967295u, " )");
    EXPECT_EQ(log.Entries(), (Lines{"level=2 SubtitleMgrCli:4711 Error opening file a.bin",
                                    "level=8 SubtitleMgrCli:1 ( 0 of 4294967295 )"}));
}

TEST(LogEntry, IsMadeOnlyWhenItsBitIsSet)
{
    for (const unsigned int level : {0u, 1u, 2u, 7u, 8u, 13u, 15u}) {
        const KeptLog log;
        LogClient::Instance().Level(level);
        MakeLogEntry(2, 1, "error");
        MakeLogEntry(8, 1, "note");
        Lines expected;
        if (level & 2) {
            expected.push_back("level=2 SubtitleMgrCli:1 error");
        }
        if (level & 8) {
            expected.push_back("level=8 SubtitleMgrCli:1 note");
        }
        EXPECT_EQ(log.Entries(), expected) << level;
    }
}

/// Records that it was converted to text.
struct Probe {
    bool* shown;
};

std::ostream& operator<<(std::ostream& out, const Probe& probe)
{
    *probe.shown = true;
    return out << "probe";
}

TEST(LogEntry, MakesNoTextWhenItsBitIsClear)
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
