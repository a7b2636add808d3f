#include <LogClient.h>
#include <SysLogMsg.h>

#include "platform/src/log_sink.h"
#include "tests/harness/SmallDisk.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/utf8_reference.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <initializer_list>
#include <regex>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace platform;

namespace {

class TheLogFile : public testing::Test {
protected:
    TheLogFile() : path(folder / "log")
    {
        LogClient::Instance().Level(63);
        LogClient::Instance().ProcessName("TheProcess");
        // What other tests have lost is told before the next entry.
        setenv("SUBTITLE_LOG", (folder / "earlier").c_str(), 1);
        Entry(2, "");
        setenv("SUBTITLE_LOG", path.c_str(), 1);
    }
    ~TheLogFile() override { unsetenv("SUBTITLE_LOG"); }

    void Entry(unsigned level, const std::string& text)
    {
        SysLogMsg entry;
        entry.Log(level, LogClient::Instance().ProcessName()) << text;
    }

    /// The entries from their level on; what is no whole line is there as it is.
    std::vector<std::string> Texts() const
    {
        std::vector<std::string> texts;
        std::istringstream lines(ReadWholeFile(path));
        for (std::string line; std::getline(lines, line);) {
            texts.push_back(lines.eof() ? "torn: " + line : line.substr(line.find("level=")));
        }
        return texts;
    }

    TempDir folder;
    std::string path;
};

TEST_F(TheLogFile, HoldsOneLineAnEntry)
{
    Entry(2, "Error opening file x");
    Entry(8, "fine");
    const std::string pid = std::to_string(getpid());
    const std::regex form("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z TheProcess\\[" +
                          pid +
                          "\\] level=2 Error opening file x\n"
                          "\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z TheProcess\\[" +
                          pid + "\\] level=8 fine\n");
    const std::string content = ReadWholeFile(path);
    EXPECT_TRUE(std::regex_match(content, form)) << content;
}

/// Of `2026-01-31T12:00:00.250Z`.
time_t SecondsOf(const std::string& utc)
{
    tm parts{};
    const char* const end = strptime(utc.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    EXPECT_TRUE(end && *end == '.') << utc;
    return timegm(&parts);
}

TEST_F(TheLogFile, SaysWhenAnEntryWasMade)
{
    timespec before{};
    timespec after{};
    clock_gettime(CLOCK_REALTIME, &before);  // not time(), which lags a little
    Entry(2, "x");
    clock_gettime(CLOCK_REALTIME, &after);
    const time_t made = SecondsOf(ReadWholeFile(path).substr(0, 24));
    EXPECT_GE(made, before.tv_sec);
    EXPECT_LE(made, after.tv_sec);
}

TEST_F(TheLogFile, BelongsToItsUserAlone)
{
    umask(0);
    Entry(2, "x");
    struct stat found {};
    ASSERT_EQ(stat(path.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0600u);
}

TEST_F(TheLogFile, ShowsControlBytesEscaped)
{
    Entry(2, std::string("a\x1b[2J\n\x7f\x9b\x80", 9) + '\0' + "z\xC3\xA4");
    const std::string content = ReadWholeFile(path);
    EXPECT_NE(content.find("level=2 a\\x1b[2J\\x0a\\x7f\\x9b\\x80\\x00z\xC3\xA4\n"),
              std::string::npos)
        << content;
}

TEST_F(TheLogFile, KeepsTheLettersOfOtherLanguages)
{
    Entry(2, "Gr\xC3\xB6\xC3\x9F"
             "e \xE2\x82\xAC \xF0\x9F\x9A\x92 \xC2\x9B \xE2\x82");
    const std::string content = ReadWholeFile(path);
    EXPECT_NE(content.find("level=2 Gr\xC3\xB6\xC3\x9F"
                           "e \xE2\x82\xAC \xF0\x9F\x9A\x92 "
                           "\\xc2\\x9b \\xe2\\x82\n"),
              std::string::npos)
        << content;
}

TEST_F(TheLogFile, KeepsTheFirstAndTheLastLettersOfEachLength)
{
    // U+00A0, U+07FF, U+0800, U+FFFD, U+10000, U+10FFFF
    const std::string letters = "\xC2\xA0 \xDF\xBF \xE0\xA0\x80 \xEF\xBF\xBD \xF0\x90\x80\x80 "
                                "\xF4\x8F\xBF\xBF";
    Entry(2, letters);
    const std::string content = ReadWholeFile(path);
    EXPECT_NE(content.find("level=2 " + letters + "\n"), std::string::npos) << content;
}

TEST_F(TheLogFile, EscapesControlCharactersAfterLettersAndFalseFirstBytes)
{
    Entry(2, "\xC3\xA4\xC2\x9B \xC1\x80 \xF5\x80\x80\x80 \xE2\x82z");
    const std::string content = ReadWholeFile(path);
    EXPECT_NE(content.find("level=2 \xC3\xA4\\xc2\\x9b \\xc1\\x80 \\xf5\\x80\\x80\\x80 "
                           "\\xe2\\x82z\n"),
              std::string::npos)
        << content;
}

TEST_F(TheLogFile, EscapesAControlCharacterBeforeALetter)
{
    Entry(2, "\xC2\x9B\xC3\xA4");
    EXPECT_NE(ReadWholeFile(path).find("level=2 \\xc2\\x9b\xC3\xA4\n"), std::string::npos)
        << ReadWholeFile(path);
}

/// A first byte of a letter must not take what could steer a terminal along.
TEST_F(TheLogFile, EscapesControlBytesAfterTheFirstByteOfALetter)
{
    Entry(2, "\xC3\x1B[ \xE2\n\x82 \xE2\x82\r \xF0\x9F\x92\b");
    EXPECT_NE(ReadWholeFile(path).find("level=2 \\xc3\\x1b[ \\xe2\\x0a\\x82 \\xe2\\x82\\x0d "
                                       "\\xf0\\x9f\\x92\\x08\n"),
              std::string::npos)
        << ReadWholeFile(path);
}

/// Found by the fuzzer: the overlong E0 82 82 reached the log as it was.
TEST_F(TheLogFile, EscapesAnOverlongSequence)
{
    Entry(2, "\xFF\xE1\x82\x82\xE0\x82\x82[/[/");
    EXPECT_NE(ReadWholeFile(path).find("level=2 \\xff\xE1\x82\x82\\xe0\\x82\\x82[/[/\n"),
              std::string::npos)
        << ReadWholeFile(path);
}

TEST_F(TheLogFile, EscapesSurrogatesAndWhatIsNoCodePoint)
{
    // U+D7FF U+D800 U+DFFF U+E000, then U+110000
    Entry(2, "\xED\x9F\xBF \xED\xA0\x80 \xED\xBF\xBF \xEE\x80\x80 \xF4\x90\x80\x80");
    EXPECT_NE(ReadWholeFile(path).find("level=2 \xED\x9F\xBF \\xed\\xa0\\x80 \\xed\\xbf\\xbf "
                                       "\xEE\x80\x80 \\xf4\\x90\\x80\\x80\n"),
              std::string::npos)
        << ReadWholeFile(path);
}

/// What the log should show for \p text.
std::string ReferenceText(const std::string& text)
{
    std::string shown;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = ReferenceSequenceAt(text, at);
        if (length > 0 && !ReferenceIsControl(text, at, length)) {
            shown.append(text, at, length);
            at += length;
            continue;
        }
        char escaped[5];
        std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(text[at++]));
        shown += escaped;
    }
    return shown;
}

class TheLogFileOfAnyBytes : public TheLogFile {
protected:
    void ExpectEntry(const std::string& text)
    {
        Entry(2, text);
        const std::string content = ReadWholeFile(path);
        const std::size_t start = content.find("level=2 ") + 8;
        ASSERT_EQ(content.substr(start), ReferenceText(text) + "\n");
        unlink(path.c_str());
    }

    static std::string Characters(std::initializer_list<int> bytes)
    {
        std::string text;
        for (const int byte : bytes) {
            text += static_cast<char>(byte);
        }
        return text;
    }
};

TEST_F(TheLogFileOfAnyBytes, ShowsAllTwoByteSequencesAsTheReferenceDoes)
{
    for (int first = 0; first < 256; ++first) {
        std::string text;
        for (int second = 0; second < 256; ++second) {
            text += Characters({first, second, '|'});
        }
        ExpectEntry(text);
    }
}

/// The ends of each range of the table, and their neighbours.
constexpr int edges[] = {0x00, 0x1F, 0x20, 0x7E, 0x7F, 0x80, 0x8F, 0x90,
                         0x9F, 0xA0, 0xBF, 0xC0, 0xC2, 0xE0, 0xFF};

TEST_F(TheLogFileOfAnyBytes, ShowsThreeByteSequencesAsTheReferenceDoes)
{
    for (int first = 0x80; first < 256; ++first) {
        std::string text;
        for (const int second : edges) {
            for (const int third : edges) {
                text += Characters({first, second, third, '|'});
            }
        }
        ExpectEntry(text);
    }
}

TEST_F(TheLogFileOfAnyBytes, ShowsFourByteSequencesAsTheReferenceDoes)
{
    for (const int first : {0xE0, 0xED, 0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF7, 0xF8, 0xFF}) {
        for (const int second : edges) {
            std::string text;
            for (const int third : edges) {
                for (const int fourth : edges) {
                    text += Characters({first, second, third, fourth, '|'});
                }
            }
            ExpectEntry(text);
        }
    }
}

TEST_F(TheLogFile, CutsAVeryLongText)
{
    Entry(2, std::string(100000, 'x'));
    const std::string content = ReadWholeFile(path);
    EXPECT_NE(content.find(" " + std::string(8192, 'x') + "...\n"), std::string::npos);
    EXPECT_LT(content.size(), 8300u);
}

TEST_F(TheLogFile, IsNeverReachedThroughASymlink)
{
    ASSERT_EQ(symlink((folder / "victim").c_str(), path.c_str()), 0);
    Entry(2, "x");
    EXPECT_NE(access((folder / "victim").c_str(), F_OK), 0);
}

TEST_F(TheLogFile, MayBeAbsentOrAFullDisk)
{
    setenv("SUBTITLE_LOG", (folder / "no/such/folder").c_str(), 1);
    Entry(2, "lost");
    EXPECT_FALSE(std::filesystem::exists(folder / "no"));
    setenv("SUBTITLE_LOG", "/dev/full", 1);
    Entry(2, "lost");
    setenv("SUBTITLE_LOG", path.c_str(), 1);
    Entry(2, "kept");
    Entry(2, "kept too");
    EXPECT_EQ(Texts(),
              (std::vector<std::string>{"level=2 2 log entries were lost: No space left on device",
                                        "level=2 kept", "level=2 kept too"}));
}

/// In the way of a part of a line stands the limit of a file's size, which would end the program.
TEST_F(TheLogFile, NeverHoldsAPartOfAnEntryAtAFileSizeLimit)
{
    Entry(2, "first");
    const rlim_t size = ReadWholeFile(path).size();
    for (rlim_t place = 0; place < 12; ++place) {
        rlimit before{};
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit limit{size + place * size / 12, before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        Entry(2, "other");
        setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_EQ(Texts(), std::vector<std::string>{"level=2 first"}) << place;
    }
    Entry(2, "later");
    EXPECT_EQ(Texts(), (std::vector<std::string>{"level=2 first",
                                                 "level=2 12 log entries were lost: File too large",
                                                 "level=2 later"}));
}

TEST_F(TheLogFile, OnAFullDiskEndsWithAWholeEntryAndGoesOnOnceThereIsRoom)
{
    const SmallDisk disk("16k");
    if (!disk.IsMounted()) {
        GTEST_SKIP() << "only root can mount a small disk";
    }
    path = disk / "log";
    setenv("SUBTITLE_LOG", path.c_str(), 1);
    WriteWholeFile(disk / "filler", std::string(8192, '.'));
    for (int i = 0; i < 200; ++i) {
        Entry(2, "text");
    }
    const std::vector<std::string> full = Texts();
    EXPECT_GT(full.size(), 100u);
    EXPECT_EQ(full, std::vector<std::string>(full.size(), "level=2 text"));
    unlink((disk / "filler").c_str());
    Entry(2, "later");
    std::vector<std::string> expected = full;
    expected.push_back("level=2 " + std::to_string(200 - full.size()) +
                       " log entries were lost: No space left on device");
    expected.push_back("level=2 later");
    EXPECT_EQ(Texts(), expected);
}

TEST_F(TheLogFile, MayBeAPipeThatNobodyReads)
{
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    Entry(2, "x");  // would wait for a reader for ever
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    Entry(2, "x");
    char byte = 0;
    EXPECT_EQ(read(reader, &byte, 1), 0) << "a reader that goes would end the program";
    close(reader);
}

TEST_F(TheLogFile, TakesWholeLinesFromTwoThreads)
{
    const std::string longText(3000, 'x');
    std::thread other([&] {
        for (int i = 0; i < 500; ++i) {
            Entry(2, longText);
        }
    });
    for (int i = 0; i < 500; ++i) {
        Entry(8, longText);
    }
    other.join();
    const std::string content = ReadWholeFile(path);
    std::size_t lines = 0;
    for (std::size_t start = 0; start < content.size(); ++lines) {
        const std::size_t end = content.find('\n', start);
        ASSERT_NE(end, std::string::npos);
        ASSERT_EQ(content.substr(end - 3001, 3001), " " + longText);
        start = end + 1;
    }
    EXPECT_EQ(lines, 1000u);
}

TEST_F(TheLogFile, GetsTheLibrarysOwnEntriesOnlyWhenTheirLevelIsOn)
{
    LogClient::Instance().Level(8);
    LogFromLibrary("off");
    EXPECT_EQ(ReadWholeFile(path), "");
    LogClient::Instance().Level(2);
    LogFromLibrary("on");
    EXPECT_NE(ReadWholeFile(path).find("level=2 on\n"), std::string::npos);
}

}  // namespace
