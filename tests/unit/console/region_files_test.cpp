// The console's sessions check the contents of files and the entries of the log.

#include "cli/SubtitleMgrCli.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/build_kind.h"
#include "tests/unit/console/kept_log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace {

class RegionFiles : public testing::Test {
protected:
    RegionFiles() { WriteWholeFile(files / "four", "1234"); }

    void ExpectLastEntry(const std::string& place, const std::string& text) const
    {
        EXPECT_EQ(log.Entries().back(), "level=2 SubtitleMgrCli:" + LineOf(place) + " " + text);
    }

    /// The number of the first source line that holds \p statement.
    static std::string LineOf(const std::string& statement)
    {
        const std::string source = ReadWholeFile(REGION_FILES_SOURCE);
        const auto end = source.begin() + static_cast<std::ptrdiff_t>(source.find(statement));
        return std::to_string(std::count(source.begin(), end, '\n') + 1);
    }

    void ExpectUnread(const std::string& counts)
    {
        client.ReadFile(files / "four", 4294967295u, data);
        EXPECT_EQ(data, (std::vector<unsigned char>{9, 9}));
        ExpectLastEntry("readNote, \"Error reading file",
                        "SubtitleRegion::UpdateRegionFile() - Error reading file ( " + counts +
                            " of 4294967295 )");
    }

    static std::ptrdiff_t OpenDescriptors()
    {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    TempDir files;
    KeptLog log;
    SubtitleMgrCli client;
    std::vector<unsigned char> data{9, 9};
};

TEST_F(RegionFiles, AreClosedAfterSuccessAndFailure)
{
    const std::ptrdiff_t before = OpenDescriptors();
    client.ReadFile(files / "four", 4, data);
    client.ReadFile(files / "four", 5, data);
    client.WriteFile(files / "copy", 4, data);
    client.WriteFile("/dev/full", 4, data);
    EXPECT_EQ(OpenDescriptors(), before);
}

long MostMemoryUsedInKilobytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

TEST_F(RegionFiles, UseMemoryForTheirOwnBytesOnly)
{
    if (isSanitized) {
        GTEST_SKIP() << "sanitizers use shadow memory for untouched memory";
    }
    const long before = MostMemoryUsedInKilobytes();
    ExpectUnread(sizeof(std::size_t) > 4 ? "4" : "0");  // 32 bits have no memory for the buffer
    EXPECT_LT(MostMemoryUsedInKilobytes() - before, 64 * 1024);
}

TEST_F(RegionFiles, CountAsUnreadWithoutMemoryForTheBuffer)
{
    if (isSanitized || isEmulated) {
        GTEST_SKIP() << "memory cannot be limited in this build";
    }
    rlimit original{};
    getrlimit(RLIMIT_AS, &original);
    const rlimit smaller{rlim_t{1} << 31, original.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &smaller), 0);
    ExpectUnread("0");
    setrlimit(RLIMIT_AS, &original);
}

TEST_F(RegionFiles, LogTheLineOfTheStatementThatMakesTheEntry)
{
    client.ReadFile(files / "none", 1, data);
    ExpectLastEntry("readNote, \"Error opening",
                    "SubtitleRegion::UpdateRegionFile() - Error opening file " + (files / "none"));
    client.WriteFile(files.Path(), 1, data);
    ExpectLastEntry("__LINE__, \"Error opening", "Error opening output file " + files.Path());
}

}  // namespace
