// The command line, the scenario, and the messages of a service that cannot start.

#include "tests/harness/build_kind.h"
#include "tests/harness/wait_limits.h"
#include "tests/service/SimulatorSession.h"

#include "platform/src/deadline.h"

#include <csignal>
#include <filesystem>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

namespace {

/// A service that cannot start leaves nothing in the messaging directory.
class Start : public SimulatorSession {
protected:
    void ExpectRefused(const std::vector<std::string>& options, int status,
                       const std::string& reason) const
    {
        const Ended ended = RunToEnd(options);
        EXPECT_EQ(ended.status, status);
        EXPECT_EQ(ended.output, "");
        EXPECT_EQ(ended.errors, reason + "\n");
        EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
    }
};

struct BadOptions {
    const char* name;
    std::vector<std::string> options;
    const char* message;
};

class BadCommandLine : public Start, public testing::WithParamInterface<BadOptions> {};

TEST_P(BadCommandLine, EndsWithStatusTwo)
{
    ExpectRefused(GetParam().options, 2,
                  std::string(GetParam().message) + "\nRun with --help for more information.");
}

INSTANTIATE_TEST_SUITE_P(
    Options, BadCommandLine,
    testing::Values(
        BadOptions{"Unknown", {"--bogus"}, "--bogus: not an option"},
        BadOptions{"Word", {"SubtitleMgr"}, "SubtitleMgr: not an option"},
        BadOptions{"Misspelt",
                   {"--jurnal=j", "--quiet"},
                   "--jurnal: not an option; did you mean --journal?"},
        BadOptions{"NoName", {"--name"}, "--name: 1 required NAME missing"},
        BadOptions{"BadName", {"--name", "../SubtitleMgr"}, "--name: not an endpoint name"},
        BadOptions{"LoopAlone", {"--loop"}, "--loop requires --play"},
        BadOptions{"RateAlone", {"--rate", "2"}, "--rate requires --play"},
        BadOptions{
            "NegativeRate", {"--play", "-", "--rate=-1"}, "--rate: not a number from 0 to 1000000"},
        BadOptions{"RateWithoutEnd",
                   {"--play", "-", "--rate", "inf"},
                   "--rate: not a number from 0 to 1000000"},
        BadOptions{"BadMoment",
                   {"--play", "-", "--from", "2m"},
                   "--from: not a time like 500ms, 2s or 1.5"},
        BadOptions{"BadTime", {"--for", "soon"}, "--for: not a time like 500ms, 2s or 1.5"},
        BadOptions{"BadRegions",
                   {"--play", "-", "--regions", "3-1"},
                   "--regions: not a list of numbers and ranges like 1,3-5"},
        BadOptions{
            "LoopedInput", {"--play", "-", "--loop"}, "--loop: standard input cannot be repeated"},
        BadOptions{"EmptyPart",
                   {"--play", "-", "--from", "2", "--until", "1"},
                   "--until: not after --from"},
        BadOptions{"CheckedInput", {"--check", "-"}, "--check: - is not a file"},
        BadOptions{"RecordedOutput", {"--record", "-"}, "--record: - is not a file"},
        BadOptions{"StateFromInput", {"--state", "-"}, "--state: - is not a file"},
        BadOptions{"EmptyJournal", {"--journal", ""}, "--journal: no file name"},
        BadOptions{"EmptyScenario", {"--play", ""}, "--play: no file name"},
        BadOptions{"UnknownFault",
                   {"--fault", "mute", "--fault", "sulk"},
                   "--fault: 'sulk' is not a fault; there are refuse, mute, hang-up, garbage, "
                   "late, wrong-reply, truncate, stall, crash, restart, refuse-subscribe, "
                   "refuse-refresh, refuse-sensor"}),
    [](const auto& testInfo) { return std::string(testInfo.param.name); });

TEST_F(Start, IsRefusedWithABadScenario)
{
    const std::string path = files / "bad.scenario";
    WriteWholeFile(path, "# fine\n\nsleep 5\nrepeat\nsleep five\nend\n");
    ExpectRefused({"--play", path}, 2,
                  path + ":4:1: expected: repeat COUNT\n" + path +
                      ":5:7: 'five' is not a time like 500 (milliseconds), 500ms or 2s");
}

TEST_F(Start, ChecksAScenarioWithoutServing)
{
    WriteWholeFile(files / "part", "visibility 3 t\n");
    WriteWholeFile(files / "drive", R"(wait-subscribers 10
repeat 3
  include part
  sleep 500ms
end
log over
)");
    const Ended right = RunToEnd({"--check", files / "drive"});
    EXPECT_EQ(right.output + right.errors, "");
    EXPECT_EQ(right.status, 0);

    WriteWholeFile(files / "part", "region-data 3 cfi 00\n");
    const Ended wrong = RunToEnd({"--check", files / "drive"});
    EXPECT_EQ(wrong.output, "");
    EXPECT_EQ(wrong.errors, (files / "part") +
                                ":1:15: format 'cfi' is not hd, sd, cif or a number from 0 to 255; "
                                "did you mean cif?\n");
    EXPECT_EQ(wrong.status, 2);
    EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
}

TEST_F(Start, PlaysRepeatedIncludedAndLoggedLines)
{
    service.Accompany("part", "log part\n").Play("repeat 2\ninclude part\nend\nlog over\n").Start();
    service.Process().WaitForErrors(
        "SubtitleMgrSim: part\nSubtitleMgrSim: part\nSubtitleMgrSim: over\n");
}

TEST_F(Start, IsRefusedWithoutItsScenarioOrJournal)
{
    const std::string none = files / "none";
    ExpectRefused({"--play", none}, 2, none + ": cannot be read: No such file or directory");
    ExpectRefused({"--journal", none + "/journal"}, 1,
                  "SubtitleMgrSim: journal " + none + "/journal: No such file or directory");
}

TEST_F(Start, IsRefusedWithAnEndlessScenario)
{
    const std::string sparse = files / "sparse";
    WriteWholeFile(sparse, "sleep 1\n");
    std::filesystem::resize_file(sparse, std::uintmax_t{2} * 1024 * 1024 * 1024);
    ExpectRefused({"--play", "/dev/zero"}, 2, "/dev/zero: cannot be read: not a file");
    ExpectRefused({"--play", sparse}, 2, sparse + ": cannot be read: more than 67108864 bytes");
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    if (!isSanitized && !isEmulated) {
        EXPECT_LT(usage.ru_maxrss, 512 * 1024);
    }
}

TEST_F(Start, EndsBySigtermWhileTheJournalIsAPipeWithoutReader)
{
    ASSERT_EQ(mkfifo((files / "pipe").c_str(), 0600), 0);
    const auto waiting = Launch({"--journal", files / "pipe"});
    // Before it is ready, the service sleeps nowhere else.
    const std::string status = "/proc/" + std::to_string(waiting->Pid()) + "/status";
    const Deadline deadline(eventDeadlineMs);
    while (!deadline.HasPassed() && ReadWholeFile(status).find("State:\tS") == std::string::npos) {
        std::this_thread::yield();
    }
    waiting->Signal(SIGTERM);
    EXPECT_EQ(waiting->WaitForExit(), -SIGTERM);
}

TEST_F(Start, RaisesTheLimitOfDescriptors)
{
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit low = before;
    low.rlim_cur = 64;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
    service.Start();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    std::vector<WireClient> clients = ConnectMany(100);
    EXPECT_EQ(clients.back().Ask(messages::ping), "");
}

TEST_F(Start, WritesReadyOnly)
{
    service.Start();
    EXPECT_EQ(Connect().Ask(messages::ping), "");
    service.Process().Signal(SIGTERM);
    ExpectCleanEnd(service.Process());
    EXPECT_EQ(service.Process().Output(), "ready\n");
    EXPECT_EQ(service.Process().Errors(), "SubtitleMgrSim: serving " + service.SocketPath() +
                                              "\nSubtitleMgrSim: client 1: Ping\n");
}

using Help = SimulatorSession;

TEST_F(Help, FitsIn80Columns)
{
    const Ended help = RunToEnd({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.errors, "");
    std::istringstream lines(help.output);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 80u) << line;
    }
    EXPECT_EQ(RunToEnd({"--version"}).output, "SubtitleMgrSim " SUBTITLE_VERSION "\n");
}

TEST_F(Help, FailsWhenTheOutputIsFull)
{
    const Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    ChildProcess::Options settings;
    settings.output = full.Get();
    for (const char* option : {"--help", "--version"}) {
        EXPECT_EQ(Launch({option}, settings)->WaitForExit(), 1) << option;
    }
}

}  // namespace
