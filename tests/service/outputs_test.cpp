// Outputs that are not read, or not in time: they delay no client, and what they lose is counted.

#include "tests/harness/SmallDisk.h"
#include "tests/harness/build_kind.h"
#include "tests/harness/wait_limits.h"
#include "tests/service/SimulatorSession.h"

#include "platform/src/deadline.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <regex>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

using namespace platform;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds servedWithin{isSanitized || isEmulated ? 500 : 50};
constexpr milliseconds endedWithin{isSanitized || isEmulated ? 5000 : 1000};

/// What a program writes to, and where the test reads it when it wants to.
struct Output {
    Descriptor tests;
    Descriptor programs;
};

Output PipeOutput()
{
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

Output TerminalOutput()
{
    Output made{Descriptor(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)), Descriptor()};
    EXPECT_EQ(grantpt(made.tests.Get()), 0);
    EXPECT_EQ(unlockpt(made.tests.Get()), 0);
    made.programs = Descriptor(open(ptsname(made.tests.Get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    EXPECT_TRUE(made.programs);
    return made;
}

/// Reads until \p text has come. \return all that came, without carriage returns
std::string ReadUntil(const Output& output, const std::string& text)
{
    std::string all;
    const Deadline deadline(eventDeadlineMs);
    while (all.find(text) == std::string::npos && !deadline.HasPassed()) {
        pollfd entry{output.tests.Get(), POLLIN, 0};
        char bytes[4096];
        if (poll(&entry, 1, deadline.RemainingMs()) == 1) {
            const ssize_t count = read(output.tests.Get(), bytes, sizeof bytes);
            all.append(bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
            all.erase(std::remove(all.begin(), all.end(), '\r'), all.end());
        }
    }
    EXPECT_NE(all.find(text), std::string::npos)
        << "the end of what came: "
        << all.substr(all.size() - std::min<std::size_t>(all.size(), 200));
    return all;
}

class OutputsSession : public SimulatorSession {
protected:
    /// The shortest of some round trips: one that waits for nothing but the service.
    milliseconds FastestPing() const
    {
        auto fastest = Clock::duration::max();
        WireClient client = ConnectOnceItListens();
        for (int i = 0; i < 10; ++i) {
            const auto start = Clock::now();
            EXPECT_EQ(client.Ask(messages::ping), "");
            fastest = std::min(fastest, Clock::now() - start);
        }
        return std::chrono::duration_cast<milliseconds>(fastest);
    }

    void Ping(int count) const
    {
        WireClient client = ConnectOnceItListens();
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(client.Ask(messages::ping), "") << i;
        }
    }

    static void ExpectEndInTime(ChildProcess& program)
    {
        const auto start = Clock::now();
        program.Signal(SIGTERM);
        EXPECT_EQ(program.WaitForExit(), 0);
        EXPECT_LT(Clock::now() - start, endedWithin);
    }
};

enum class Kind { Pipe, Terminal, StoppedTerminal };

class UnreadErrors : public OutputsSession, public testing::WithParamInterface<Kind> {
protected:
    UnreadErrors() : errors(GetParam() == Kind::Pipe ? PipeOutput() : TerminalOutput())
    {
        ChildProcess::Options settings;
        settings.errors = errors.programs.Get();
        program = Launch({}, settings);
        if (GetParam() == Kind::StoppedTerminal) {
            EXPECT_EQ(write(errors.tests.Get(), "\x13", 1), 1);  // Ctrl-S
        }
    }

    const Output errors;
    std::unique_ptr<ChildProcess> program;
};

/// More lines than fit into the buffer of a pipe or a terminal.
constexpr int manyLines = 6000;

TEST_P(UnreadErrors, DelayNoClient)
{
    Ping(manyLines);
    EXPECT_LT(FastestPing(), servedWithin);
    EXPECT_EQ(fcntl(errors.programs.Get(), F_GETFL) & O_NONBLOCK, 0) << "others share it";
    ExpectEndInTime(*program);
}

TEST_P(UnreadErrors, AreCountedWithoutAnotherLineOnceTheyAreRead)
{
    Ping(manyLines);
    if (GetParam() == Kind::StoppedTerminal) {
        EXPECT_EQ(write(errors.tests.Get(), "\x11", 1), 1);  // Ctrl-Q
    }
    std::istringstream lines(ReadUntil(errors, "lines: it is not read\n"));
    const std::regex loss("SubtitleMgrSim: standard error lost (\\d+) lines: it is not read");
    int count = 0;
    for (std::string line; std::getline(lines, line);) {
        std::smatch found;
        if (std::regex_match(line, found, loss)) {
            count += std::stoi(found[1]);
        } else {
            ASSERT_EQ(line, "SubtitleMgrSim: client 1: Ping");
            ++count;
        }
    }
    EXPECT_EQ(count, manyLines);
    ExpectEndInTime(*program);
}

INSTANTIATE_TEST_SUITE_P(Kinds, UnreadErrors,
                         testing::Values(Kind::Pipe, Kind::Terminal, Kind::StoppedTerminal),
                         [](const auto& kind) {
                             return kind.param == Kind::Pipe       ? "Pipe"
                                    : kind.param == Kind::Terminal ? "Terminal"
                                                                   : "StoppedTerminal";
                         });

class UnreadJournal : public OutputsSession {};

TEST_F(UnreadJournal, DelaysNoClientAndStaysWhole)
{
    ASSERT_EQ(mkfifo((files / "journal").c_str(), 0600), 0);
    Output journal{Descriptor(open((files / "journal").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)),
                   Descriptor()};
    const auto program = Launch({"--quiet", "--journal", files / "journal"});
    Ping(manyLines);
    EXPECT_LT(FastestPing(), servedWithin);
    program->WaitForErrors("SubtitleMgrSim: the journal is not complete: it is not read\n");
    std::istringstream lines(ReadUntil(journal, "\n"));
    for (std::string line; std::getline(lines, line) && !lines.eof();) {
        ASSERT_EQ(line, "{\"request\":\"Ping\"}");
    }
    ExpectEndInTime(*program);
    EXPECT_EQ(program->Errors(), "SubtitleMgrSim: the journal is not complete: it is not read\n");
}

class FullStandardOutput : public OutputsSession {
protected:
    FullStandardOutput()
    {
        fcntl(output.programs.Get(), F_SETFL, O_NONBLOCK);
        const std::string page(4096, '.');
        while (write(output.programs.Get(), page.data(), page.size()) > 0) {
        }
    }

    std::unique_ptr<ChildProcess> Start() const
    {
        ChildProcess::Options settings;
        settings.output = output.programs.Get();
        return Launch({"--quiet"}, settings);
    }

    const Output output = PipeOutput();
};

TEST_F(FullStandardOutput, TakesReadyWithinTwoSecondsOfRoom)
{
    const auto program = Start();
    EXPECT_LT(FastestPing(), servedWithin);
    poll(nullptr, 0, 500);  // long enough for a single attempt to have failed
    const auto start = Clock::now();
    ReadUntil(output, "ready\n");
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(2));
    ExpectEndInTime(*program);
}

TEST_F(FullStandardOutput, DelaysNoClientWhenItBlocks)
{
    fcntl(output.programs.Get(), F_SETFL, 0);
    const auto program = Start();
    EXPECT_LT(FastestPing(), servedWithin);
    ExpectEndInTime(*program);
}

const std::string pingLine = "{\"request\":\"Ping\"}\n";

/// Whether \p text is this line any number of times.
bool IsWholeLines(const std::string& text, const std::string& line)
{
    std::string expected;
    while (expected.size() < text.size()) {
        expected += line;
    }
    return text == expected;
}

class LimitedFile : public OutputsSession {
protected:
    std::unique_ptr<ChildProcess> StartWithLimit(rlim_t limit,
                                                 const std::vector<std::string>& options,
                                                 int errors = -1) const
    {
        ChildProcess::Options settings;
        settings.fileSizeLimit = limit;
        settings.errors = errors;
        return Launch(options, settings);
    }

    static void RaiseLimit(const ChildProcess& program)
    {
        const rlimit none{RLIM_INFINITY, RLIM_INFINITY};
        EXPECT_EQ(prlimit(program.Pid(), RLIMIT_FSIZE, &none, nullptr), 0);
    }
};

TEST_F(LimitedFile, NeverHoldsAPartOfAJournalLine)
{
    const rlim_t twoLines = 2 * pingLine.size();
    for (rlim_t limit = twoLines; limit < twoLines + 12; ++limit) {
        const auto program = StartWithLimit(limit, {"--journal", files / "journal"});
        Ping(3);
        EXPECT_EQ(ReadWholeFile(files / "journal"), pingLine + pingLine) << limit;
        RaiseLimit(*program);
        Ping(1);
        EXPECT_EQ(ReadWholeFile(files / "journal"), pingLine + pingLine + pingLine) << limit;
        ExpectEndInTime(*program);
        EXPECT_EQ(program->Errors(), "SubtitleMgrSim: client 1: Ping\n"
                                     "SubtitleMgrSim: client 1: Ping\n"
                                     "SubtitleMgrSim: the journal is not complete: File too large\n"
                                     "SubtitleMgrSim: client 1: Ping\n"
                                     "SubtitleMgrSim: client 2: Ping\n");
        EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
        unlink((files / "journal").c_str());
    }
}

TEST_F(LimitedFile, AsStandardErrorCountsItsLostLines)
{
    const std::string line = "SubtitleMgrSim: client 1: Ping\n";
    const Descriptor errors(
        open((files / "errors").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    const auto program = StartWithLimit(2 * line.size() + 10, {}, errors.Get());
    Ping(5);
    EXPECT_EQ(ReadWholeFile(files / "errors"), line + line);
    RaiseLimit(*program);
    ExpectEndInTime(*program);
    EXPECT_EQ(ReadWholeFile(files / "errors"),
              line + line + "SubtitleMgrSim: standard error lost 3 lines: File too large\n");
    EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
}

TEST_F(OutputsSession, OnAFullDiskEndWithAWholeLineAndGoOnOnceThereIsRoom)
{
    const SmallDisk disk("16k");
    if (!disk.IsMounted()) {
        GTEST_SKIP() << "only root can mount a small disk";
    }
    WriteWholeFile(disk / "filler", std::string(8192, '.'));
    const auto program = Launch({"--quiet", "--journal", disk / "journal"});
    Ping(1000);
    program->WaitForErrors(
        "SubtitleMgrSim: the journal is not complete: No space left on device\n");
    const std::string full = ReadWholeFile(disk / "journal");
    EXPECT_GT(full.size(), 8192 - pingLine.size());
    EXPECT_TRUE(IsWholeLines(full, pingLine)) << full.substr(full.size() - 30);
    unlink((disk / "filler").c_str());
    Ping(100);
    const std::string later = ReadWholeFile(disk / "journal");
    EXPECT_EQ(later.size(), full.size() + 100 * pingLine.size());
    EXPECT_TRUE(IsWholeLines(later, pingLine));
    ExpectEndInTime(*program);
    EXPECT_EQ(program->Errors(),
              "SubtitleMgrSim: the journal is not complete: No space left on device\n");
}

/// What a hostile client sends at once, and the kinds of lines that it makes so.
constexpr int requestsAtOnce = 30;

std::string HostileBurst()
{
    std::string burst;
    for (int i = 0; i < requestsAtOnce; ++i) {
        burst += FrameBytes(FrameKind::Request, messages::setRegionVisibility, 1,
                            VisibilityRecord(99, true));
        burst += FrameBytes(FrameKind::Request, 0x3C20, 1, "");
        burst += FrameBytes(FrameKind::OneWay, 0x3C21, 1, "");
    }
    return burst + "no frame, whatever it is";
}

class HostileClient : public OutputsSession {
protected:
    /// How many lines of this kind were made, those included that were counted only.
    static int CountOf(const std::string& kind, const std::string& errors)
    {
        const std::regex one("SubtitleMgrSim: client \\d+: " + kind + "[: ].*");
        const std::regex more("SubtitleMgrSim: (\\d+) more like these within a second: " + kind);
        int count = 0;
        std::istringstream lines(errors);
        for (std::string line; std::getline(lines, line);) {
            std::smatch found;
            if (std::regex_match(line, found, more)) {
                count += std::stoi(found[1]);
            } else if (std::regex_match(line, one)) {
                ++count;
            }
        }
        return count;
    }
};

TEST_F(HostileClient, CannotFillADiskByStandardError)
{
    service.Quiet().Journal().Start();
    const std::string burst = HostileBurst();
    int bursts = 0;
    for (const Deadline deadline(3000); !deadline.HasPassed(); ++bursts) {
        WireClient client = Connect();
        client.Send(burst);
        client.ExpectClosed();
    }
    service.Process().WaitForErrors(" more like these within a second: ");  // before the end
    ExpectEndInTime(service.Process());
    const std::string errors = service.Process().Errors();
    EXPECT_LT(errors.size(), 1000000u * 3 / 60);  // a megabyte a minute
    const int requests = bursts * requestsAtOnce;
    EXPECT_EQ(CountOf("refused", errors), requests);
    EXPECT_EQ(CountOf("not understood: request", errors), requests);
    EXPECT_EQ(CountOf("not understood: one-way message", errors), requests);
    EXPECT_EQ(CountOf("dropped: it sent", errors), bursts);
    EXPECT_EQ(service.JournalLines().size(), static_cast<std::size_t>(requests)) << "not limited";
}

TEST_F(HostileClient, IsCountedWithoutAnotherLine)
{
    service.Quiet().Start();
    WireClient client = Connect();
    client.Send(HostileBurst());
    service.Process().WaitForErrors(
        "SubtitleMgrSim: 10 more like these within a second: refused\n");
}

}  // namespace
