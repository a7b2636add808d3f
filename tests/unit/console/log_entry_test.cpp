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

/// Records that it was converted to text.
struct Probe {
    int* shown;
};

std::ostream& operator<<(std::ostream& out, const Probe& probe)
{
    ++*probe.shown;
    return out << "probe";
}

TEST(LogEntry, IsMadeOnlyWhenItsBitIsSet)
{
    const KeptLog log;
    int shown = 0;
    for (const unsigned int level : {0u, 7u, 13u}) {
        LogClient::Instance().Level(level);
        MakeLogEntry(2, 1, "error", Probe{&shown});
        MakeLogEntry(8, 1, "note", Probe{&shown});
    }
    EXPECT_EQ(log.Entries(),
              (Lines{"level=2 SubtitleMgrCli:1 errorprobe", "level=8 SubtitleMgrCli:1 noteprobe"}));
    EXPECT_EQ(shown, 2) << "text of an entry that is not made";
}

}  // namespace
