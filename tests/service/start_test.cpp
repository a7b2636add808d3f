// The command line, the scenario, and the messages of a service that cannot start.

#include "tests/harness/build_kind.h"
#include "tests/harness/wait_limits.h"
#include "tests/service/SimulatorSession.h"

#include <csignal>
#include <filesystem>
#include <sys/resource.h>
#include <sys/stat.h>

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

TEST_F(Start, IsRefusedWithStatusTwoAndBadOptions)
{
    const struct {
        std::vector<std::string> options;
        const char* message;
    } rows[] = {
        {{"SubtitleMgr"}, "SubtitleMgr: not an option"},
        {{"--jurnal=j", "--quiet"}, "--jurnal: not an option; did you mean --journal?"},
        {{"--name"}, "--name: 1 required NAME missing"},
        {{"--name", "../SubtitleMgr"}, "--name: not an endpoint name"},
        {{"--loop"}, "--loop requires --play"},
        {{"--play", "-", "--rate=-1"}, "--rate: not a number from 0 to 1000000"},
        {{"--play", "-", "--rate", "inf"}, "--rate: not a number from 0 to 1000000"},
        {{"--play", "-", "--from", "2m"}, "--from: not a time like 500ms, 2s or 1.5"},
        {{"--play", "-", "--regions", "3-1"},
         "--regions: not a list of numbers and ranges like 1,3-5"},
        {{"--play", "-", "--loop"}, "--loop: standard input cannot be repeated"},
        {{"--play", "-", "--from", "2", "--until", "1"}, "--until: not after --from"},
        {{"--check", "-"}, "--check: - is not a file"},
        {{"--record", "-"}, "--record: - is not a file"},
        {{"--state", "-"}, "--state: - is not a file"},
        {{"--journal", ""}, "--journal: no file name"},
        {{"--fault", "mute", "--fault", "hangup"},
         "--fault: 'hangup' is not a fault; did you mean hang-up?"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        ExpectRefused(row.options, 2,
                      std::string(row.message) + "\nRun with --help for more information.");
    }
}

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
    WriteWholeFile(files / "drive", "wait-subscribers 10\nlog over\n");
    const Ended right = RunToEnd({"--check", files / "drive"});
    EXPECT_EQ(right.output + right.errors, "");
    EXPECT_EQ(right.status, 0);
    WriteWholeFile(files / "drive", "sleep five\n");
    ExpectRefused(
        {"--check", files / "drive"}, 2,
        (files / "drive") + ":1:7: 'five' is not a time like 500 (milliseconds), 500ms or 2s");
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
    WaitUntil([&] { return ReadWholeFile(status).find("State:\tS") != std::string::npos; },
              [] { return "a service that waits"; });
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
    Terminate(service.Process());
    EXPECT_EQ(service.Process().Output(), "ready\n");
    EXPECT_EQ(service.Process().Errors(), "SubtitleMgrSim: serving " + service.SocketPath() +
                                              "\nSubtitleMgrSim: client 1: Ping\n");
}

TEST_F(Start, FailsWhenTheHelpCannotBeWritten)
{
    const Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    ChildProcess::Options settings;
    settings.output = full.Get();
    for (const char* option : {"--help", "--version"}) {
        EXPECT_EQ(Launch({option}, settings)->WaitForExit(), 1) << option;
    }
}

}  // namespace
