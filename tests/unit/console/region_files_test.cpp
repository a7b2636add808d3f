#include "cli/SubtitleMgrCli.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/build_kind.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"
#include "tests/unit/console/kept_log.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <new>
#include <regex>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;
using Lines = std::vector<std::string>;

class RegionFiles : public testing::Test {
protected:
    RegionFiles() { WriteWholeFile(files / "four", std::string("\x00\x7F\x80\xFF", 4)); }

    /// Reads into `data`, and checks that nothing is printed.
    void Read(const std::string& path, unsigned int size)
    {
        EXPECT_TEXT(OutputOf([&] { client.ReadFile(path, size, data); }), "");
    }

    void Write(const std::string& path, unsigned int size)
    {
        EXPECT_TEXT(OutputOf([&] { client.WriteFile(path, size, data); }), "");
    }

    /// \param expected  without line numbers: "level=8 Successfully opened output file x"
    void ExpectLog(const Lines& expected) const
    {
        Lines entries;
        for (const std::string& entry : log.Entries()) {
            entries.push_back(std::regex_replace(entry, std::regex(" SubtitleMgrCli:[0-9]+"), ""));
        }
        EXPECT_EQ(entries, expected);
    }

    static std::ptrdiff_t OpenDescriptors()
    {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    TempDir files;
    KeptLog log;
    SubtitleMgrCli client;
    Bytes data{9, 9};
};

const std::string note = " SubtitleRegion::UpdateRegionFile() - ";

std::string Opened(const std::string& path)
{
    return "level=8" + note + "Successfully opened file " + path;
}

std::string ReadOnly(const std::string& counts)
{
    return "level=2" + note + "Error reading file ( " + counts + " )";
}

TEST_F(RegionFiles, AreReadUpToTheSizeTyped)
{
    Read(files / "four", 4);
    EXPECT_EQ(data, (Bytes{0, 127, 128, 255}));
    Read(files / "four", 3);
    EXPECT_EQ(data, (Bytes{0, 127, 128}));
    Read(files / "four", 0);
    EXPECT_EQ(data, Bytes{});
    ExpectLog(Lines(3, Opened(files / "four")));
    Read("/dev/zero", 100000);
    EXPECT_EQ(data, Bytes(100000, 0));
}

TEST_F(RegionFiles, LeaveTheDataWhenTheyAreTooShort)
{
    Read(files / "four", 5);
    Read(files.Path(), 1);  // a folder, which opens
    EXPECT_EQ(data, (Bytes{9, 9}));
    ExpectLog(
        {Opened(files / "four"), ReadOnly("4 of 5"), Opened(files.Path()), ReadOnly("0 of 1")});
}

TEST_F(RegionFiles, LeaveTheDataWhenTheyAreMissing)
{
    Read(files / "none", 1);
    EXPECT_EQ(data, (Bytes{9, 9}));
    ExpectLog({"level=2" + note + "Error opening file " + (files / "none")});
}

TEST_F(RegionFiles, AreClosedAfterSuccessAndFailure)
{
    const std::ptrdiff_t before = OpenDescriptors();
    Read(files / "four", 4);
    Read(files / "four", 5);
    Read(files / "none", 4);
    Write(files / "copy", 4);
    Write("/dev/full", 4);
    Write(files / "no/such/folder", 4);
    Write(files / "copy", 5);
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(RegionFiles, LogNothingWhenTheLevelIsClear)
{
    LogClient::Instance().Level(63 & ~(2u + 8u));
    Read(files / "none", 1);
    Read(files / "four", 5);
    Write(files / "no" + "/folder", 1);
    Write(files / "out", 2);
    Write(files / "out", 3);
    ExpectLog({});
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
    Read(files / "four", 4294967295u);
    EXPECT_EQ(data, (Bytes{9, 9}));
    EXPECT_LT(MostMemoryUsedInKilobytes() - before, 64 * 1024);
    // If no memory for the buffer is available, nothing counts as read.
    const std::string count = sizeof(std::size_t) > 4 ? "4" : "0";
    ExpectLog({Opened(files / "four"), ReadOnly(count + " of 4294967295")});
}

/// Limits the process's memory to \p more bytes above its present size.
class MemoryCap {
public:
    explicit MemoryCap(rlim_t more)
    {
        std::size_t pages = 0;
        std::istringstream(ReadWholeFile("/proc/self/statm")) >> pages;
        getrlimit(RLIMIT_AS, &original);
        rlimit capped = original;
        capped.rlim_cur = pages * 4096 + more;
        setrlimit(RLIMIT_AS, &capped);
    }
    ~MemoryCap() { setrlimit(RLIMIT_AS, &original); }
    MemoryCap(const MemoryCap&) = delete;
    MemoryCap& operator=(const MemoryCap&) = delete;

private:
    rlimit original{};
};

// Sanitizers need memory of their own, and an emulator ignores the limit.
constexpr bool memoryCanBeCapped = !isSanitized && !isEmulated;

constexpr unsigned int large = 256u * 1024 * 1024;

TEST_F(RegionFiles, CountAsUnreadWithoutMemoryForTheBuffer)
{
    if (!memoryCanBeCapped) {
        GTEST_SKIP() << "memory cannot be limited in this build";
    }
    {
        const MemoryCap cap(large / 2);
        Read(files / "four", large);
    }
    EXPECT_EQ(data, (Bytes{9, 9}));
    ExpectLog({Opened(files / "four"), ReadOnly("0 of 268435456")});
}

TEST_F(RegionFiles, EndTheirCommandWithoutMemoryForTheData)
{
    if (!memoryCanBeCapped) {
        GTEST_SKIP() << "memory cannot be limited in this build";
    }
    const std::ptrdiff_t before = OpenDescriptors();
    {
        const MemoryCap cap(large + large / 2);
        EXPECT_THROW(client.ReadFile("/dev/zero", large, data), std::bad_alloc);
    }
    EXPECT_EQ(data, (Bytes{9, 9}));
    EXPECT_EQ(OpenDescriptors(), before);
    ExpectLog({Opened("/dev/zero")});
}

TEST_F(RegionFiles, AreWrittenFromTheStartOfTheData)
{
    WriteWholeFile(files / "out", "a longer file of an earlier run");
    data = {1, 0, 255, 4};
    Write(files / "out", 3);
    EXPECT_EQ(ReadWholeFile(files / "out"), std::string("\x01\x00\xFF", 3));
    ExpectLog({"level=8 Successfully opened output file " + (files / "out")});
}

TEST_F(RegionFiles, AreMadeEmptyForSizeZero)
{
    data.clear();
    Write(files / "out", 0);
    EXPECT_TRUE(std::filesystem::exists(files / "out"));
    ExpectLog({"level=8 Successfully opened output file " + (files / "out")});
}

TEST_F(RegionFiles, StayUnchangedWhenTheDataIsTooShort)
{
    WriteWholeFile(files / "out", "of an earlier run");
    Write(files / "out", 3);
    Write(files / "new", 1024);
    EXPECT_EQ(ReadWholeFile(files / "out"), "of an earlier run");
    EXPECT_FALSE(std::filesystem::exists(files / "new"));
    ExpectLog({"level=2 Error writing output file ( 0 of 3 )",
               "level=2 Error writing output file ( 0 of 1024 )"});
}

TEST_F(RegionFiles, LogWhyTheyCannotBeWritten)
{
    Write(files / "no" + "/folder", 2);
    Write("/dev/full", 2);
    ExpectLog({"level=2 Error opening output file " + (files / "no") + "/folder",
               "level=8 Successfully opened output file /dev/full",
               "level=2 Error writing output file ( 0 of 2 )"});
}

/// "SubtitleMgrCli:" and the number of the first source line that holds \p statement.
std::string PlaceOf(const std::string& statement)
{
    std::istringstream source(ReadWholeFile(REGION_FILES_SOURCE));
    int number = 1;
    for (std::string line; std::getline(source, line); ++number) {
        if (line.find(statement) != std::string::npos) {
            return " SubtitleMgrCli:" + std::to_string(number) + " ";
        }
    }
    return "no source line has " + statement;
}

TEST_F(RegionFiles, LogTheLineOfTheStatementThatMakesTheEntry)
{
    Read(files / "none", 1);
    Read(files / "four", 5);
    Write(files / "no" + "/folder", 1);
    Write("/dev/full", 1);
    const Lines statements{"readNote, \"Error opening file", "readNote, \"Successfully opened",
                           "readNote, \"Error reading file",
                           "__LINE__, \"Error opening output file",
                           "__LINE__, \"Successfully opened output"};
    const Lines entries = log.Entries();
    ASSERT_EQ(entries.size(), statements.size() + 1);
    for (std::size_t i = 0; i < statements.size(); ++i) {
        EXPECT_NE(entries[i].find(PlaceOf(statements[i])), std::string::npos)
            << entries[i] << "\nis not from" << PlaceOf(statements[i]);
    }
}

}  // namespace
