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

    /// Reads into `data`, and makes sure that the console sees nothing of it.
    void Read(const std::string& path, unsigned int size)
    {
        EXPECT_TEXT(OutputOf([&] { client.ReadFile(path, size, data); }), "");
    }

    void Write(const std::string& path, unsigned int size)
    {
        EXPECT_TEXT(OutputOf([&] { client.WriteFile(path, size, data); }), "");
    }

    /// The log without the line numbers: "level=8 Successfully opened output file x".
    Lines Log() const
    {
        Lines entries;
        for (std::string entry : log.Entries()) {
            const std::string name = " SubtitleMgrCli:";
            const auto begin = entry.find(name);
            const auto end = entry.find(' ', begin + 1);
            entries.push_back(entry.substr(0, begin) + entry.substr(end));
        }
        return entries;
    }

    TempDir files;
    KeptLog log;
    SubtitleMgrCli client;
    Bytes data{9, 9};
};

const std::string readNote = "SubtitleRegion::UpdateRegionFile() - ";

TEST_F(RegionFiles, AreReadWhole)
{
    Read(files / "four", 4);
    EXPECT_EQ(data, (Bytes{0, 127, 128, 255}));
    EXPECT_EQ(Log(),
              (Lines{"level=8 " + readNote + "Successfully opened file " + (files / "four")}));
}

std::ptrdiff_t OpenDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST_F(RegionFiles, AreClosedAgainWhateverBecameOfThem)
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

TEST_F(RegionFiles, AreReadOnlyAsFarAsAsked)
{
    Read(files / "four", 3);
    EXPECT_EQ(data, (Bytes{0, 127, 128}));
    EXPECT_EQ(Log().size(), 1u) << "no message says that there was more";
}

TEST_F(RegionFiles, AreOpenedAndEmptyWhenNothingIsAsked)
{
    Read(files / "four", 0);
    EXPECT_EQ(data, Bytes{});
    EXPECT_EQ(Log(),
              (Lines{"level=8 " + readNote + "Successfully opened file " + (files / "four")}));
}

TEST_F(RegionFiles, ThatAreTooShortLeaveTheDataAndLogTheRealCount)
{
    Read(files / "four", 5);
    EXPECT_EQ(data, (Bytes{9, 9}));
    EXPECT_EQ(Log(), (Lines{"level=8 " + readNote + "Successfully opened file " + (files / "four"),
                            "level=2 " + readNote + "Error reading file ( 4 of 5 )"}));
}

TEST_F(RegionFiles, ThatAreMissingLeaveTheData)
{
    Read(files / "none", 1);
    EXPECT_EQ(data, (Bytes{9, 9}));
    EXPECT_EQ(Log(), (Lines{"level=2 " + readNote + "Error opening file " + (files / "none")}));
}

TEST_F(RegionFiles, ThatAreFoldersOpenAndGiveNothing)
{
    Read(files.Path(), 1);
    EXPECT_EQ(data, (Bytes{9, 9}));
    EXPECT_EQ(Log(), (Lines{"level=8 " + readNote + "Successfully opened file " + files.Path(),
                            "level=2 " + readNote + "Error reading file ( 0 of 1 )"}));
}

TEST_F(RegionFiles, ThatNeverEndGiveWhatIsAsked)
{
    Read("/dev/zero", 100000);
    EXPECT_EQ(data, Bytes(100000, 0));
}

TEST_F(RegionFiles, LeaveNoTraceOfTroubleWhenTheLogLevelIsClear)
{
    LogClient::Instance().Level(63 & ~(2u + 8u));
    Read(files / "none", 1);
    Read(files / "four", 5);
    Write(files / "no" + "/folder", 1);
    Write(files / "out", 2);
    Write(files / "out", 3);
    EXPECT_EQ(Log(), Lines{});
}

long MostMemoryUsedInKilobytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

TEST_F(RegionFiles, CostTheirOwnBytesOnlyWhateverSizeIsTyped)
{
    if (isSanitized) {
        GTEST_SKIP() << "sanitizers keep shadows of memory that is never touched";
    }
    const long before = MostMemoryUsedInKilobytes();
    Read(files / "four", 4294967295u);
    EXPECT_EQ(data, (Bytes{9, 9}));
    EXPECT_LT(MostMemoryUsedInKilobytes() - before, 64 * 1024);
    // Where the buffer cannot be had at all, nothing counts as read.
    const std::string count = sizeof(std::size_t) > 4 ? "4" : "0";
    EXPECT_EQ(Log().back(),
              "level=2 " + readNote + "Error reading file ( " + count + " of 4294967295 )");
}

/// Caps the process's memory at \p more bytes above what it has.
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

// Sanitizers need memory of their own, and an emulator takes no notice of the cap.
constexpr bool memoryCanBeCapped = !isSanitized && !isEmulated;

constexpr unsigned int large = 256u * 1024 * 1024;

TEST_F(RegionFiles, CountAsUnreadWhenTheBufferCannotBeHad)
{
    if (!memoryCanBeCapped) {
        GTEST_SKIP() << "memory cannot be capped in this build";
    }
    {
        const MemoryCap cap(large / 2);
        Read(files / "four", large);
    }
    EXPECT_EQ(data, (Bytes{9, 9}));
    EXPECT_EQ(Log(), (Lines{"level=8 " + readNote + "Successfully opened file " + (files / "four"),
                            "level=2 " + readNote + "Error reading file ( 0 of 268435456 )"}));
}

TEST_F(RegionFiles, EndTheirCommandWithoutMemoryForTheData)
{
    if (!memoryCanBeCapped) {
        GTEST_SKIP() << "memory cannot be capped in this build";
    }
    const std::ptrdiff_t before = OpenDescriptors();
    {
        const MemoryCap cap(large + large / 2);
        EXPECT_THROW(client.ReadFile("/dev/zero", large, data), std::bad_alloc);
    }
    EXPECT_EQ(data, (Bytes{9, 9}));
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_EQ(Log(), (Lines{"level=8 " + readNote + "Successfully opened file /dev/zero"}));
}

TEST_F(RegionFiles, AreWrittenFromTheStartOfTheData)
{
    data = {1, 0, 255, 4};
    Write(files / "out", 3);
    EXPECT_EQ(ReadWholeFile(files / "out"), std::string("\x01\x00\xFF", 3));
    EXPECT_EQ(Log(), (Lines{"level=8 Successfully opened output file " + (files / "out")}));
}

TEST_F(RegionFiles, AreTruncatedBeforeTheyAreWritten)
{
    WriteWholeFile(files / "out", "a longer file of an earlier run");
    Write(files / "out", 2);
    EXPECT_EQ(ReadWholeFile(files / "out"), "\x09\x09");
}

TEST_F(RegionFiles, AreMadeEmptyWhenNothingIsAsked)
{
    data.clear();
    Write(files / "out", 0);
    EXPECT_TRUE(std::filesystem::exists(files / "out"));
    EXPECT_EQ(Log(), (Lines{"level=8 Successfully opened output file " + (files / "out")}));
}

TEST_F(RegionFiles, AreNotTouchedWhenMoreIsAskedThanThereIs)
{
    WriteWholeFile(files / "out", "of an earlier run");
    Write(files / "out", 3);
    Write(files / "new", 1024);
    EXPECT_EQ(ReadWholeFile(files / "out"), "of an earlier run");
    EXPECT_FALSE(std::filesystem::exists(files / "new"));
    EXPECT_EQ(Log(), (Lines{"level=2 Error writing output file ( 0 of 3 )",
                            "level=2 Error writing output file ( 0 of 1024 )"}));
}

TEST_F(RegionFiles, ThatCannotBeMadeAreNamed)
{
    Write(files / "no" + "/folder", 2);
    EXPECT_EQ(Log(), (Lines{"level=2 Error opening output file " + (files / "no") + "/folder"}));
}

TEST_F(RegionFiles, OnAFullDiskAreShortWrites)
{
    Write("/dev/full", 2);
    EXPECT_EQ(Log(), (Lines{"level=8 Successfully opened output file /dev/full",
                            "level=2 Error writing output file ( 0 of 2 )"}));
}

/// Number of each source line that holds this text, as "SubtitleMgrCli:<number> ".
std::string PlaceOf(const std::string& statement)
{
    std::istringstream source(ReadWholeFile(REGION_FILES_SOURCE));
    std::string places;
    int number = 1;
    for (std::string line; std::getline(source, line); ++number) {
        if (line.find(statement) != std::string::npos) {
            places += "SubtitleMgrCli:" + std::to_string(number) + " ";
        }
    }
    return places;
}

TEST_F(RegionFiles, LogTheLineOfTheStatementThatMakesTheEntry)
{
    Read(files / "none", 1);
    Read(files / "four", 5);
    Write(files / "no" + "/folder", 1);
    Write("/dev/full", 1);
    const Lines entries = log.Entries();
    const Lines statements{"MakeLogEntry(logErrors, __LINE__, readNote, \"Error opening file",
                           "MakeLogEntry(logSuccess, __LINE__, readNote, \"Successfully opened",
                           "MakeLogEntry(logErrors, __LINE__, readNote, \"Error reading file",
                           "MakeLogEntry(logErrors, __LINE__, \"Error opening output file",
                           "MakeLogEntry(logSuccess, __LINE__, \"Successfully opened output"};
    ASSERT_GE(entries.size(), statements.size());
    for (std::size_t i = 0; i < statements.size(); ++i) {
        const std::string place = PlaceOf(statements[i]);
        ASSERT_FALSE(place.empty()) << statements[i];
        EXPECT_NE(entries[i].find(" " + place), std::string::npos)
            << entries[i] << "\nshould be from " << place;
    }
}

}  // namespace
