// Outputs that nothing reads, or too late: they delay no client, and the service counts lost lines.

#include "tests/harness/wait_limits.h"
#include "tests/service/SimulatorSession.h"

#include "platform/src/deadline.h"
#include "recording/writer.h"

#include <algorithm>
#include <fcntl.h>
#include <functional>
#include <poll.h>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// More lines than the buffer of a pipe holds.
constexpr int manyLines = 6000;

const std::string pingLine = "{\"request\":\"Ping\"}\n";  ///< of PlainJournal()

/// Reads until the received text satisfies a condition. \return the text
std::string ReadUntil(const Descriptor& output,
                      const std::function<bool(const std::string&)>& isComplete)
{
    std::string all;
    for (const Deadline deadline(eventDeadlineMs); !isComplete(all);) {
        if (deadline.HasPassed()) {
            ADD_FAILURE() << "the expected text did not arrive; the last text: "
                          << all.substr(all.size() - std::min<std::size_t>(all.size(), 200));
            break;
        }
        pollfd entry{output.Get(), POLLIN, 0};
        char bytes[4096];
        if (poll(&entry, 1, deadline.RemainingMs()) == 1) {
            const ssize_t count = read(output.Get(), bytes, sizeof bytes);
            all.append(bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
    }
    return all;
}

class ServiceWithOutputs : public SimulatorSession {
protected:
    ServiceWithOutputs()
    {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        readEnd = Descriptor(ends[0]);
        writeEnd = Descriptor(ends[1]);
    }

    void Ping(int count) const
    {
        WireClient client = ConnectOnceItListens();
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(client.Ask(messages::ping), "") << i;
        }
    }

    /// A pipe for an output.
    Descriptor readEnd;
    Descriptor writeEnd;
    ChildProcess::Options settings;
};

using UnreadErrors = ServiceWithOutputs;

TEST_F(UnreadErrors, DelayNoClientAndAreCounted)
{
    settings.errors = writeEnd.Get();
    const auto program = Launch({}, settings);
    Ping(manyLines);
    EXPECT_EQ(fcntl(writeEnd.Get(), F_GETFL) & O_NONBLOCK, 0)
        << "flags of a shared descriptor changed";
    const std::string text = ReadUntil(readEnd, [](const std::string& all) {
        return all.find(" lines: it is not read\n") != std::string::npos;
    });
    const auto written = std::count(text.begin(), text.end(), '\n') - 2;  // without first and last
    EXPECT_NE(text.find("SubtitleMgrSim: standard error lost " +
                        std::to_string(manyLines - written) + " lines"),
              std::string::npos);
    Terminate(*program);
}

using UnreadJournal = ServiceWithOutputs;

TEST_F(UnreadJournal, DelaysNoClientAndHoldsWholeLines)
{
    const std::string notComplete = "SubtitleMgrSim: the journal is not complete: it is not read\n";
    const std::string path = files / "journal";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const Descriptor journal(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    const auto program = Launch({"--quiet", "--journal", path});
    Ping(manyLines);
    program->WaitForErrors(notComplete);
    std::istringstream text(
        PlainJournal(ReadUntil(journal, [](const std::string& all) { return all.size() > 4000; })));
    for (std::string line; std::getline(text, line) && !text.eof();) {
        EXPECT_EQ(line + "\n", pingLine);
    }
    Terminate(*program);
    EXPECT_EQ(program->Errors(), notComplete);
}

using FullStandardOutput = ServiceWithOutputs;

TEST_F(FullStandardOutput, DelaysNoClientAndTakesReadyLater)
{
    fcntl(writeEnd.Get(), F_SETFL, O_NONBLOCK);
    const std::string page(4096, '.');
    while (write(writeEnd.Get(), page.data(), page.size()) > 0) {
    }
    fcntl(writeEnd.Get(), F_SETFL, 0);
    settings.output = writeEnd.Get();
    const auto program = Launch({"--quiet"}, settings);
    Ping(10);
    poll(nullptr, 0, 500);  // long enough for one failed attempt
    ReadUntil(readEnd,
              [](const std::string& all) { return all.find("ready\n") != std::string::npos; });
    Terminate(*program);
}

using LimitedFile = ServiceWithOutputs;

TEST_F(LimitedFile, HoldsWholeLinesOfTheJournal)
{
    const std::string journal = files / "journal";
    recording::Request ping;
    ping.at = recording::Now();
    ping.client = 1;
    std::string line;
    AppendLine(line, ping);
    settings.fileSizeLimit = 2 * line.size() + line.size() / 2;
    const auto program = Launch({"--quiet", "--journal", journal}, settings);
    Ping(3);
    EXPECT_EQ(PlainJournal(ReadWholeFile(journal)), pingLine + pingLine);
    const rlimit none{RLIM_INFINITY, RLIM_INFINITY};
    EXPECT_EQ(prlimit(program->Pid(), RLIMIT_FSIZE, &none, nullptr), 0);
    Ping(1);
    EXPECT_EQ(PlainJournal(ReadWholeFile(journal)), pingLine + pingLine + pingLine);
    Terminate(*program);
    EXPECT_EQ(program->Errors(), "SubtitleMgrSim: the journal is not complete: File too large\n");
}

using HostileClient = ServiceWithOutputs;

TEST_F(HostileClient, WritesFewLinesThatCountTheOthers)
{
    std::string burst;
    for (int i = 0; i < 15; ++i) {
        burst += FrameBytes(FrameKind::Request, messages::setRegionVisibility, 1,
                            VisibilityRecord(99, true)) +
                 FrameBytes(FrameKind::Request, 0x3C20, 1, "") +
                 FrameBytes(FrameKind::OneWay, 0x3C21, 1, "");
    }
    service.Quiet().Journal().Start();
    for (int connection = 0; connection < 2; ++connection) {
        WireClient client = Connect();
        client.Send(burst + "these bytes are no frame");
        client.ExpectClosed();
    }
    for (const char* kind :
         {"refused", "not understood: request", "not understood: one-way message"}) {
        service.Process().WaitForErrors(
            "SubtitleMgrSim: 10 more like these within a second: " + std::string(kind) + "\n");
    }
    const std::string errors = service.Process().Errors();
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 3 * 20 + 2 + 3);
    EXPECT_EQ(service.JournalLines().size(), 30u) << "the journal must not be limited";
}

}  // namespace
