// Outputs that nothing reads, or too late: they delay no client, and the service counts lost lines.

#include "tests/harness/build_kind.h"
#include "tests/harness/wait_limits.h"
#include "tests/service/SimulatorSession.h"

#include "platform/src/deadline.h"
#include "recording/writer.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <poll.h>
#include <regex>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds servedWithin{isSanitized || isEmulated ? 500 : 50};

/// More lines than the buffer of a pipe or a terminal holds.
constexpr int manyLines = 6000;
constexpr int fewPings = 10;

const std::string pingLine = "{\"request\":\"Ping\"}\n";  ///< of PlainJournal()

std::string Repeated(const std::string& line, std::size_t count)
{
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += line;
    }
    return text;
}

/// Counts lines of a text, and adds the numbers in lines that report a count of lines.
/// \param one   pattern of a single line
/// \param many  pattern of a line that reports a count; its group is the number
int CountLines(const std::string& text, const std::string& one, const std::string& many)
{
    const std::regex single(one);
    const std::regex counting(many);
    int count = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::smatch found;
        if (std::regex_match(line, found, counting)) {
            count += std::stoi(found[1]);
        } else if (std::regex_match(line, single)) {
            ++count;
        }
    }
    return count;
}

/// The program's end of an output, and the end that the test reads.
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

/// Reads until the received text satisfies a condition. \return the text without carriage returns
std::string ReadUntil(const Output& output,
                      const std::function<bool(const std::string&)>& isComplete)
{
    std::string all;
    for (const Deadline deadline(eventDeadlineMs); !isComplete(all);) {
        if (deadline.HasPassed()) {
            ADD_FAILURE() << "the expected text did not arrive; the last text: "
                          << all.substr(all.size() - std::min<std::size_t>(all.size(), 200));
            break;
        }
        pollfd entry{output.tests.Get(), POLLIN, 0};
        char bytes[4096];
        if (poll(&entry, 1, deadline.RemainingMs()) == 1) {
            const ssize_t count = read(output.tests.Get(), bytes, sizeof bytes);
            all.append(bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
            all.erase(std::remove(all.begin(), all.end(), '\r'), all.end());
        }
    }
    return all;
}

class ServiceWithOutputs : public SimulatorSession {
protected:
    /// The shortest of several round trips, which has no delay from other processes.
    void ExpectFastReply() const
    {
        auto fastest = Clock::duration::max();
        WireClient client = ConnectOnceItListens();
        for (int i = 0; i < fewPings; ++i) {
            const auto start = Clock::now();
            EXPECT_EQ(client.Ask(messages::ping), "");
            fastest = std::min(fastest, Clock::now() - start);
        }
        EXPECT_LT(fastest, servedWithin);
    }

    void Ping(int count) const
    {
        WireClient client = ConnectOnceItListens();
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(client.Ask(messages::ping), "") << i;
        }
    }

    void End(ChildProcess& program) const
    {
        program.Signal(SIGTERM);
        ExpectCleanEnd(program);
    }
};

enum class Kind { Pipe, StoppedTerminal };

class UnreadErrors : public ServiceWithOutputs, public testing::WithParamInterface<Kind> {};

TEST_P(UnreadErrors, DelayNoClientAndAreCounted)
{
    const bool isTerminal = GetParam() == Kind::StoppedTerminal;
    const Output errors = isTerminal ? TerminalOutput() : PipeOutput();
    ChildProcess::Options settings;
    settings.errors = errors.programs.Get();
    const auto program = Launch({}, settings);
    if (isTerminal) {
        EXPECT_EQ(write(errors.tests.Get(), "\x13", 1), 1);  // Ctrl-S
    }
    Ping(manyLines);
    ExpectFastReply();
    EXPECT_EQ(fcntl(errors.programs.Get(), F_GETFL) & O_NONBLOCK, 0)
        << "flags of a shared descriptor changed";
    if (isTerminal) {
        EXPECT_EQ(write(errors.tests.Get(), "\x11", 1), 1);  // Ctrl-Q
    }
    // A terminal may accept single lines between losses, so there may be several counts.
    const std::string text = ReadUntil(errors, [](const std::string& all) {
        return CountLines(all, "SubtitleMgrSim: client \\d: Ping",
                          "SubtitleMgrSim: standard error lost (\\d+) lines: it is not read") ==
               manyLines + fewPings;
    });
    EXPECT_NE(text.find("lines: it is not read"), std::string::npos);  // a newline may follow
    End(*program);
}

INSTANTIATE_TEST_SUITE_P(Kinds, UnreadErrors, testing::Values(Kind::Pipe, Kind::StoppedTerminal),
                         [](const auto& kind) {
                             return kind.param == Kind::Pipe ? "Pipe" : "StoppedTerminal";
                         });

using UnreadJournal = ServiceWithOutputs;

TEST_F(UnreadJournal, DelaysNoClientAndHoldsWholeLines)
{
    const std::string notComplete = "SubtitleMgrSim: the journal is not complete: it is not read\n";
    ASSERT_EQ(mkfifo((files / "journal").c_str(), 0600), 0);
    Output journal{Descriptor(open((files / "journal").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)),
                   Descriptor()};
    const auto program = Launch({"--quiet", "--journal", files / "journal"});
    Ping(manyLines);
    ExpectFastReply();
    program->WaitForErrors(notComplete);
    const std::string text =
        ReadUntil(journal, [](const std::string& all) { return all.size() > 4000; });
    const std::string lines = PlainJournal(text.substr(0, text.rfind('\n') + 1));
    EXPECT_EQ(lines, Repeated(pingLine, lines.size() / pingLine.size()));
    End(*program);
    EXPECT_EQ(program->Errors(), notComplete);
}

class FullStandardOutput : public ServiceWithOutputs {
protected:
    FullStandardOutput()
    {
        fcntl(output.programs.Get(), F_SETFL, O_NONBLOCK);
        const std::string page(4096, '.');
        while (write(output.programs.Get(), page.data(), page.size()) > 0) {
        }
        fcntl(output.programs.Get(), F_SETFL, 0);
        ChildProcess::Options settings;
        settings.output = output.programs.Get();
        program = Launch({"--quiet"}, settings);
    }

    const Output output = PipeOutput();
    std::unique_ptr<ChildProcess> program;
};

TEST_F(FullStandardOutput, DelaysNoClientAndTakesReadyLater)
{
    ExpectFastReply();
    poll(nullptr, 0, 500);  // long enough for one failed attempt
    ReadUntil(output,
              [](const std::string& all) { return all.find("ready\n") != std::string::npos; });
    End(*program);
}

using LimitedFile = ServiceWithOutputs;

TEST_F(LimitedFile, HoldsWholeLinesOfTheJournal)
{
    const std::string journal = files / "journal";
    ChildProcess::Options settings;
    recording::Request ping;
    ping.at = recording::Now();
    ping.client = 1;
    std::string line;
    AppendLine(line, ping);
    settings.fileSizeLimit = 2 * line.size() + line.size() / 2;
    const auto program = Launch({"--quiet", "--journal", journal}, settings);
    Ping(3);
    EXPECT_EQ(PlainJournal(ReadWholeFile(journal)), Repeated(pingLine, 2));
    const rlimit none{RLIM_INFINITY, RLIM_INFINITY};
    EXPECT_EQ(prlimit(program->Pid(), RLIMIT_FSIZE, &none, nullptr), 0);
    Ping(1);
    EXPECT_EQ(PlainJournal(ReadWholeFile(journal)), Repeated(pingLine, 3));
    End(*program);
    EXPECT_EQ(program->Errors(), "SubtitleMgrSim: the journal is not complete: File too large\n");
}

class HostileClient : public ServiceWithOutputs {
protected:
    /// How often a hostile client causes each kind of line before the service drops it.
    static constexpr int atOnce = 30;

    void SendBurst() const
    {
        std::string burst;
        for (int i = 0; i < atOnce; ++i) {
            burst += FrameBytes(FrameKind::Request, messages::setRegionVisibility, 1,
                                VisibilityRecord(99, true));
            burst += FrameBytes(FrameKind::Request, 0x3C20, 1, "");
            burst += FrameBytes(FrameKind::OneWay, 0x3C21, 1, "");
        }
        WireClient client = Connect();
        client.Send(burst + "these bytes are no frame");
        client.ExpectClosed();
    }

    /// Number of lines of this kind, including the counted ones.
    int CountOf(const std::string& kind)
    {
        return CountLines(service.Process().Errors(),
                          "SubtitleMgrSim: client \\d+: " + kind + "[: ].*",
                          "SubtitleMgrSim: (\\d+) more like these within a second: " + kind);
    }
};

TEST_F(HostileClient, WritesLessThanAMegabyteAMinute)
{
    service.Quiet().Journal().Start();
    int bursts = 0;
    for (const Deadline deadline(2000); !deadline.HasPassed(); ++bursts) {
        SendBurst();
    }
    service.Process().WaitForErrors(" more like these within a second: ");  // before the end
    End(service.Process());
    EXPECT_LT(service.Process().Errors().size(), 1000000u * 2 / 60);  // a megabyte a minute
    const int requests = bursts * atOnce;
    EXPECT_EQ(CountOf("refused"), requests);
    EXPECT_EQ(CountOf("not understood: request"), requests);
    EXPECT_EQ(CountOf("not understood: one-way message"), requests);
    EXPECT_EQ(CountOf("dropped: it sent"), bursts);
    EXPECT_EQ(service.JournalLines().size(), static_cast<std::size_t>(requests))
        << "the journal must not be limited";
}

TEST_F(HostileClient, IsCountedWithoutFurtherLines)
{
    service.Quiet().Start();
    SendBurst();
    service.Process().WaitForErrors(
        "SubtitleMgrSim: 10 more like these within a second: refused\n");
}

}  // namespace
