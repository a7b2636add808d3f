// What the command line and the scenario may say, and what a service says that cannot start.

#include "tests/harness/build_kind.h"
#include "tests/harness/wait_limits.h"
#include "tests/service/SimulatorSession.h"

#include "platform/src/deadline.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

using namespace platform;

namespace {

struct BadOptions {
    std::vector<std::string> options;
    const char* message;
};

class ABadCommandLine : public SimulatorSession, public testing::WithParamInterface<BadOptions> {};

TEST_P(ABadCommandLine, IsRefusedWithItsReasonAndStatusTwo)
{
    const Ended ended = RunToEnd(GetParam().options);
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.errors,
              std::string(GetParam().message) + "\nRun with --help for more information.\n");
    EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
}

INSTANTIATE_TEST_SUITE_P(
    Options, ABadCommandLine,
    testing::Values(BadOptions{{"--bogus"}, "The following argument was not expected: --bogus"},
                    BadOptions{{"SubtitleMgr"},
                               "The following argument was not expected: SubtitleMgr"},
                    BadOptions{{"--name"}, "--name: 1 required NAME missing"},
                    BadOptions{{"--name", ""}, "--name: not an endpoint name"},
                    BadOptions{{"--name", "../SubtitleMgr"}, "--name: not an endpoint name"},
                    BadOptions{{"--name", "node1//SubtitleMgr"}, "--name: not an endpoint name"},
                    BadOptions{{"--loop"}, "--loop requires --play"},
                    BadOptions{{"--journal", ""}, "--journal: no file name"},
                    BadOptions{{"--play", ""}, "--play: no file name"},
                    BadOptions{{"--fault", "mute", "--fault", "sulk"},
                               "--fault: not a fault; there are refuse-subscribe, refuse-refresh, "
                               "refuse-sensor, mute, hang-up, garbage"}));

struct BadScenario {
    const char* text;
    const char* message;
};

class ABadScenario : public SimulatorSession, public testing::WithParamInterface<BadScenario> {};

TEST_P(ABadScenario, IsRefusedWithFileLineAndReasonBeforeAnybodyIsServed)
{
    WriteWholeFile(files / "bad.scenario", GetParam().text);
    const Ended ended = RunToEnd({"--play", files / "bad.scenario"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.errors, files / "bad.scenario:" + GetParam().message + "\n");
    EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, ABadScenario,
    testing::Values(BadScenario{"# fine\n\nsleep 5\nregion-data 3 256 00\n",
                                "4: format '256' is not a number from 0 to 255"},
                    BadScenario{"visibility 3 maybe", "1: visible 'maybe' is not t or f"},
                    BadScenario{"palette 2 31 t 10f\n", "1: '10f' is not hex bytes, @FILE or -"},
                    BadScenario{"region-data 1 2\n", "1: expected: region-data REGION FORMAT DATA"},
                    BadScenario{"region-data 1 2 @none\n",
                                "1: '@none' cannot be read: No such file or directory"},
                    BadScenario{
                        "wait-subscribers 5\n",
                        "1: there is no subscription '5'; there are 1, 2, 3, 4, 6, 10 and 12"},
                    BadScenario{"sleep -1\n", "1: '-1' is not a number of milliseconds"},
                    BadScenario{"repeat\n", "1: unknown directive 'repeat'"}));

class AService : public SimulatorSession {};

TEST_F(AService, RefusesAScenarioThatIsNotThere)
{
    const Ended ended = RunToEnd({"--play", files / "none"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.errors, files / "none: cannot be read: No such file or directory\n");
}

class AnEndlessScenario : public SimulatorSession {
protected:
    void ExpectRefused(const std::string& path, const std::string& reason)
    {
        const auto start = std::chrono::steady_clock::now();
        const Ended ended = RunToEnd({"--play", path});
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
        EXPECT_EQ(ended.status, 2);
        EXPECT_EQ(ended.errors, path + ": cannot be read: " + reason + "\n");
        rusage usage{};
        getrusage(RUSAGE_CHILDREN, &usage);
        if (!isSanitized && !isEmulated) {
            EXPECT_LT(usage.ru_maxrss, 512 * 1024);
        }
    }
};

TEST_F(AnEndlessScenario, IsRefusedWhenItIsADevice) { ExpectRefused("/dev/zero", "not a file"); }

TEST_F(AnEndlessScenario, IsRefusedAbove64MiB)
{
    const std::string path = files / "sparse";
    WriteWholeFile(path, "sleep 1\n");
    std::filesystem::resize_file(path, std::uintmax_t{2} * 1024 * 1024 * 1024);
    ExpectRefused(path, "more than 67108864 bytes");
}

TEST_F(AService, RefusesAJournalThatCannotBeOpened)
{
    const Ended ended = RunToEnd({"--journal", files / "none/journal"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.errors, "SubtitleMgrSim: journal " + files.Path() +
                                "/none/journal: No such file or directory\n");
}

TEST_F(AService, CanBeEndedWhileItsJournalIsAPipeThatNobodyReads)
{
    ASSERT_EQ(mkfifo((files / "pipe").c_str(), 0600), 0);
    const auto waiting = Launch({"--journal", files / "pipe"});
    // It sleeps nowhere else before it is ready.
    const std::string status = "/proc/" + std::to_string(waiting->Pid()) + "/status";
    const Deadline deadline(eventDeadlineMs);
    while (!deadline.HasPassed() && ReadWholeFile(status).find("State:\tS") == std::string::npos) {
        std::this_thread::yield();
    }
    waiting->Signal(SIGTERM);
    EXPECT_EQ(waiting->WaitForExit(), -SIGTERM);
}

TEST_F(AService, ServesMoreClientsThanItIsFirstAllowedDescriptors)
{
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit low = before;
    low.rlim_cur = 64;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
    service.Start();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    std::vector<WireClient> clients;
    clients.reserve(100);
    for (int i = 0; i < 100; ++i) {
        clients.push_back(Connect());
        EXPECT_EQ(clients.back().Ask(messages::ping), "") << i;
    }
}

TEST_F(AService, ShowsItsOptionsAndItsVersion)
{
    const Ended help = RunToEnd({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.errors, "");
    for (const char* option :
         {"--help", "--version", "--name NAME", "--journal FILE", "--play FILE", "--loop",
          "--quiet", "--fault KIND", "refuse-subscribe, refuse-refresh, refuse-sensor, mute, "}) {
        EXPECT_NE(help.output.find(option), std::string::npos) << option;
    }
    const Ended version = RunToEnd({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.output, "SubtitleMgrSim " SUBTITLE_VERSION "\n");
    EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
}

TEST_F(AService, SaysReadyAndNothingElseOnceItCanBeReached)
{
    service.Start();
    EXPECT_EQ(Connect().Ask(messages::ping), "");
    service.Process().Signal(SIGTERM);
    EXPECT_EQ(service.Process().WaitForExit(), 0);
    EXPECT_EQ(service.Process().Output(), "ready\n");
    EXPECT_EQ(service.Process().Errors(), "SubtitleMgrSim: client 1: Ping\n");
}

}  // namespace
