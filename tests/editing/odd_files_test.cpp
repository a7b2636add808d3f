// Keys 3 and 5 with files that are no plain files, that are too large, or that change underneath.

#include "tests/editing/EditingSession.h"
#include "tests/editing/expected_bytes.h"
#include "tests/support/RawPeer.h"
#include "tests/support/build_kind.h"
#include "tests/support/wait_limits.h"

#include "platform/src/deadline.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace platform;

namespace {

const std::string prompts = "Enter region ID: Enter filename:  Enter file size: ";
const std::string palettePrompts =
    "Enter region ID:   Enter filename:    RGB palette (t/f): "
    "Converting palette of size 1024...Done\n\nTransparent pixel? (t/f): ";
constexpr unsigned largestSize = 4294967295u;

/// Keys that load a bitmap, and the same for a palette of RGB without transparency.
std::string Load(const std::string& path, const std::string& size)
{
    return "3\n3\n" + path + "\n" + size + "\n";
}
std::string Convert(const std::string& path) { return "5\n2\n" + path + "\nt\nf\n"; }

/// Whether this machine gives a program that much memory, which depends on its width and settings.
bool CanHave(std::size_t size)
{
    // A compiler that saw the number would warn where no such memory can ever be had.
    const volatile std::size_t asked = size;
    void* volatile memory = std::malloc(asked);
    std::free(memory);
    return memory != nullptr;
}

class AnOddFile : public EditingSession {
protected:
    void SetUp() override
    {
        EditingSession::SetUp();
        StartService();
    }

    std::string Fifo() const
    {
        const std::string path = Files() / "fifo";
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        return path;
    }

    /// Opens the writing side as soon as the client opens the other.
    static Descriptor OpenForWriting(const std::string& fifo)
    {
        const Deadline deadline(eventDeadlineMs);
        for (;;) {
            Descriptor writer(open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
            if (writer || deadline.HasPassed()) {
                return writer;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    static void Send(const Descriptor& writer, const std::string& bytes)
    {
        EXPECT_EQ(write(writer.Get(), bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }

    /// The largest resident size of the running client so far, in KiB.
    unsigned PeakKiB()
    {
        const std::string status =
            ReadWholeFile("/proc/" + std::to_string(Client().Pid()) + "/status");
        const std::size_t at = status.find("VmHWM:");
        EXPECT_NE(at, std::string::npos) << status;
        return static_cast<unsigned>(std::stoul(status.substr(at + 6)));
    }
};

}  // namespace

TEST_F(AnOddFile, LikeAFifoWithoutAWriterBlocksTheConsoleButNotItsNotifications)
{
    const std::string fifo = Fifo();
    StartClient({"-i"});
    Type("1\n" + Load(fifo, "4"));
    ExpectConsole("Enter file size: ");
    RawClient editor(Service().SocketPath());
    for (const unsigned region : {4u, 5u}) {
        editor.SendFrame(FrameKind::Request, messages::setRegionVisibility, region,
                         Bytes({region, 1}));
        editor.ReceiveFrame();
        ExpectConsole("\n\n*** RegionVisi:  " + std::to_string(region) + "  visible\n\n");
    }
    EXPECT_TRUE(Client().IsRunning());
    EXPECT_EQ(LogText(), "");
    EXPECT_EQ(Journal().size(), 8u);  // six subscriptions, two visibilities and no bitmap
    Client().Signal(SIGINT);
    EXPECT_EQ(ExitStatus(), -SIGINT);
}

TEST_F(AnOddFile, LikeAFifoWithoutAWriterIsLeftByCtrlC)
{
    const std::string fifo = Fifo();
    StartClientOnTerminal({"-i"});
    Type("3\n3\n" + fifo + "\n");
    ExpectConsole("Enter file size: ");
    Type("4\n");
    ExpectConsole("4\r\n");
    Type("\x03");
    EXPECT_EQ(ExitStatus(), -SIGINT);
    EXPECT_EQ(Journal(), Lines{});
}

TEST_F(AnOddFile, LikeAFifoIsReadInAsManyPiecesAsItsWriterSends)
{
    const std::string fifo = Fifo();
    StartClient({"-i"});
    Type(Load(fifo, "6") + "x\n");
    {
        const Descriptor writer = OpenForWriting(fifo);
        ASSERT_TRUE(writer);
        ExpectLog(Opened(fifo).substr(2));
        Send(writer, "12");
        Send(writer, "345");
        // Behind the size typed nothing is read.
        Send(writer, "6789");
    }
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_TEXT(ConsoleText(), UnsubscribedMenu() + prompts + UnsubscribedMenu());
    EXPECT_EQ(Journal(), Lines{RegionDataLine(3, "123456")});
    EXPECT_EQ(LogTexts(), Lines{Opened(fifo)});
}

TEST_F(AnOddFile, LikeAFifoIsShortWhenItsWriterLeavesEarly)
{
    const std::string fifo = Fifo();
    StartClient({"-i"});
    Type(Load(fifo, "6") + "x\n");
    {
        const Descriptor writer = OpenForWriting(fifo);
        ASSERT_TRUE(writer);
        ExpectLog(Opened(fifo).substr(2));
        Send(writer, "12345");
    }
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_EQ(Journal(), Lines{RegionDataLine(3, "")});
    EXPECT_EQ(LogTexts(), (Lines{Opened(fifo), ShortRead(5, 6)}));
}

TEST_F(AnOddFile, LikeZerosWithoutEndGivesAsManyAsTyped)
{
    ExpectBetweenMenus(Load("/dev/zero", "30720") + Load("/dev/zero", "0") + "x\n",
                       prompts + UnsubscribedMenu() + prompts);
    EXPECT_EQ(Journal(),
              (Lines{RegionDataLine(3, std::string(30720, '\0')), RegionDataLine(3, "")}));
    EXPECT_EQ(LogTexts(), Lines(2, Opened("/dev/zero")));
}

TEST_F(AnOddFile, LikeADiskThatIsAlwaysFullGivesZeros)
{
    ExpectBetweenMenus(Load("/dev/full", "7") + "x\n", prompts);
    EXPECT_EQ(Journal(), Lines{RegionDataLine(3, std::string(7, '\0'))});
    EXPECT_EQ(LogTexts(), Lines{Opened("/dev/full")});
}

TEST_F(AnOddFile, LargerThanAMessageMayBeIsNotSentAndTheConsoleGoesOn)
{
    ExpectBetweenMenus(
        Load("/dev/zero", "67108864") + "4\n3\nt\nx\n",
        prompts + UnsubscribedMenu() + "Enter region ID: Enter region visibility (t/f): ");
    EXPECT_EQ(Journal(), Lines{VisibilityLine(3, true)});
    EXPECT_EQ(ParseLog(LogText()).front().text, Opened("/dev/zero").substr(2));
}

TEST_F(AnOddFile, ReadWithTheLargestSizeCostsNoMoreMemoryThanItHasBytes)
{
    const std::string path = File("small", "1234");
    StartClient({"-i"});
    Type(Load(path, "4294967295"));
    ExpectConsole("Enter file size: ");
    ExpectConsole("x) Exit\n\n");
    const bool counts = CanHave(largestSize);
    if (counts && !isSanitized && !isEmulated) {
        EXPECT_LT(PeakKiB(), 64u * 1024);
    }
    Type("x\n");
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_EQ(Journal(), Lines{RegionDataLine(3, "")});
    EXPECT_EQ(LogTexts(), (Lines{Opened(path), ShortRead(counts ? 4 : 0, largestSize)}));
}

TEST_F(AnOddFile, ForWhichNoMemoryCanBeHadIsShortAtItsFirstByte)
{
    const std::string path = File("small", "1234");
    ChildProcess::Options settings = ClientSettings();
    std::vector<std::string> command{ClientProgram(), "-i"};
    if (isSanitized) {
        // The sanitizers need more addresses than a limit would leave them, and have their own.
        for (const char* name : {"ASAN_OPTIONS", "TSAN_OPTIONS"}) {
            const char* given = std::getenv(name);
            settings.environment[name] = std::string(given ? given : "") +
                                         ":allocator_may_return_null=1:max_allocation_size_mb=1024";
        }
    } else if (CanHave(largestSize)) {
        command.insert(command.begin(), {"prlimit", "--as=2147483648"});
    }
    ChildProcess client(command, settings);
    client.Write(Load(path, "4294967295") + Load("/dev/zero", "4294967295") + Load(path, "4") +
                 "x\n");
    EXPECT_EQ(client.WaitForExit(), 0);
    EXPECT_TEXT(client.Output(), UnsubscribedMenu() + prompts + UnsubscribedMenu() + prompts +
                                     UnsubscribedMenu() + prompts + UnsubscribedMenu());
    if (!isSanitized) {  // they say what they refuse
        EXPECT_TEXT(client.Errors(), "");
    }
    EXPECT_EQ(Journal(),
              (Lines{RegionDataLine(3, ""), RegionDataLine(3, ""), RegionDataLine(3, "1234")}));
    EXPECT_EQ(LogTexts(), (Lines{Opened(path), ShortRead(0, largestSize), Opened("/dev/zero"),
                                 ShortRead(0, largestSize), Opened(path)}));
}

TEST_F(AnOddFile, OfMoreThanTwoGigabytesGivesItsFirstBytes)
{
    const std::string path = File("sparse", "1234");
    std::filesystem::resize_file(path, 3ull * 1024 * 1024 * 1024);
    ExpectBetweenMenus(Load(path, "5") + "x\n", prompts);
    EXPECT_EQ(Journal(), Lines{RegionDataLine(3, std::string("1234\0", 5))});
    EXPECT_EQ(LogTexts(), Lines{Opened(path)});
}

TEST_F(AnOddFile, ThatShrinksWhileItIsReadIsSentWholeOrNotAtAll)
{
    constexpr unsigned size = 1024 * 1024;
    constexpr unsigned reads = isSanitized || isEmulated ? 20 : 100;
    const std::string whole(size, '7');
    const std::string path = File("shrinking", whole);
    StartClient({"-i"});
    Type(Load(path, std::to_string(size)));
    Service().WaitForJournalLines(1);
    std::atomic<bool> done{false};
    std::thread shrinker([&] {
        for (unsigned length = 0; !done; length = (length + 65537) % size) {
            std::filesystem::resize_file(path, length);
            std::filesystem::resize_file(path, size);
        }
    });
    std::string keys;
    for (unsigned i = 0; i < reads; ++i) {
        keys += Load(path, std::to_string(size));
    }
    Type(keys);
    const auto waitForShrinker = [&] {
        done = true;
        shrinker.join();
    };
    try {
        Service().WaitForJournalLines(1 + reads);
    } catch (...) {
        waitForShrinker();
        throw;
    }
    waitForShrinker();
    std::filesystem::resize_file(path, size - 1);
    Type(Load(path, std::to_string(size)) + "x\n");
    EXPECT_EQ(ExitStatus(), 0);

    const Lines journal = Journal();
    ASSERT_EQ(journal.size(), reads + 2);
    EXPECT_EQ(journal.front(), RegionDataLine(3, whole));
    EXPECT_EQ(journal.back(), RegionDataLine(3, ""));
    const std::string nothing = RegionDataLine(3, "");
    const std::string sizeField = R"("size":)" + std::to_string(size) + ",";
    Lines expectedLog;
    const Lines log = LogTexts();
    for (const std::string& line : journal) {
        expectedLog.push_back(Opened(path));
        if (line == nothing) {
            // How much was there is the file's business; that it was less is the record's.
            ASSERT_LT(expectedLog.size(), log.size());
            unsigned count = size;
            std::istringstream(log[expectedLog.size()].substr(ShortRead(0, 0).find("( ") + 2)) >>
                count;
            EXPECT_LT(count, size);
            expectedLog.push_back(ShortRead(count, size));
        } else {
            EXPECT_NE(line.find(sizeField), std::string::npos) << line;
        }
    }
    EXPECT_EQ(log, expectedLog);
}

TEST_F(AnOddFile, AsOutputOnAFullDiskIsReportedAsAShortWrite)
{
    const std::string table(1024, '\x40');
    const std::string path = File("pal.bin", table);
    std::filesystem::create_symlink("/dev/full", path + ".out");
    ExpectBetweenMenus(Convert(path) + "x\n", palettePrompts);
    EXPECT_EQ(Journal(), Lines{PaletteLine(2, ConvertedPalette(table), 1, false)});
    EXPECT_EQ(LogTexts(), (Lines{Opened(path), OutputOpened(path + ".out"), ShortWrite(0)}));
}

TEST_F(AnOddFile, AsOutputOnADiskThatFillsUpKeepsWhatWasWritten)
{
    const std::string table(1024, '\x40');
    const std::string path = File("pal.bin", table);
    ChildProcess::Options settings = ClientSettings();
    // Beyond its limit a file takes no more, as on a full disk; the log's few lines stay below.
    settings.ignoredSignal = SIGXFSZ;
    ChildProcess client({"prlimit", "--fsize=1000", ClientProgram(), "-i"}, settings);
    client.Write(Convert(path) + "x\n");
    EXPECT_EQ(client.WaitForExit(), 0);
    EXPECT_TEXT(client.Output(), UnsubscribedMenu() + palettePrompts + UnsubscribedMenu());
    EXPECT_TEXT(client.Errors(), "");
    EXPECT_EQ(Journal(), Lines{PaletteLine(2, ConvertedPalette(table), 1, false)});
    EXPECT_EQ(LogTexts(), (Lines{Opened(path), OutputOpened(path + ".out"), ShortWrite(1000)}));
    EXPECT_TEXT(ReadWholeFile(path + ".out"), ConvertedPalette(table).substr(0, 1000));
}

TEST_F(AnOddFile, AsOutputThatIsADirectoryCannotBeOpened)
{
    const std::string path = File("pal.bin", std::string(1024, '\x40'));
    std::filesystem::create_directory(path + ".out");
    ExpectBetweenMenus(Convert(path) + "x\n", palettePrompts);
    EXPECT_EQ(Journal(),
              Lines{PaletteLine(2, ConvertedPalette(std::string(1024, '\x40')), 1, false)});
    EXPECT_EQ(LogTexts(), (Lines{Opened(path), OutputNotOpened(path + ".out")}));
}

TEST_F(AnOddFile, AsOutputIsTheTargetOfASymlink)
{
    const std::string table(1024, '\x40');
    const std::string path = File("pal.bin", table);
    const std::string target = File("target", "an earlier content");
    std::filesystem::create_symlink(target, path + ".out");
    TextAfter(Convert(path) + "x\n");
    EXPECT_TEXT(ReadWholeFile(target), ConvertedPalette(table));
    EXPECT_TRUE(std::filesystem::is_symlink(path + ".out"));
    EXPECT_EQ(LogTexts(), (Lines{Opened(path), OutputOpened(path + ".out")}));
}

TEST_F(AnOddFile, AsOutputIsMadeWhereADanglingSymlinkPoints)
{
    const std::string table(1024, '\x40');
    const std::string path = File("pal.bin", table);
    std::filesystem::create_symlink(Files() / "target", path + ".out");
    TextAfter(Convert(path) + "x\n");
    EXPECT_TEXT(ReadWholeFile(Files() / "target"), ConvertedPalette(table));
}
