// The reasons for the end of the tap, and its status.

#include "tests/harness/text_compare.h"
#include "tests/harness/wait_limits.h"
#include "tests/tools/tap/TapSession.h"

#include "platform/src/deadline.h"

#include <csignal>
#include <filesystem>
#include <thread>

using namespace platform;

namespace {

using Tap = TapSession;

const std::string noService =
    "SubtitleMgrTap: SubtitleMgr accepts no subscription: it does not run, or refuses\n";

TEST_F(Tap, EndsWithStatus3WithoutService)
{
    const Ended tap = Run({"--json"});
    EXPECT_EQ(tap.status, 3);
    EXPECT_EQ(tap.output, "");
    EXPECT_EQ(tap.errors, noService);
}

TEST_F(Tap, EndsWithStatus3WhenASubscriptionIsRefused)
{
    service.Fault("refuse-subscribe").Start();
    const Ended tap = Run({"--wait-for-service", "100ms"});
    EXPECT_EQ(tap.status, 3);
    EXPECT_EQ(tap.errors, noService);
}

TEST_F(Tap, EndsWithStatus3WithoutMessagingDirectory)
{
    ChildProcess::Options settings;
    settings.environment["LINX_DIR"] = "relative";
    ChildProcess tap({TAP_PROGRAM}, settings);
    EXPECT_EQ(tap.WaitForExit(), 3);
    EXPECT_EQ(tap.Errors(),
              "SubtitleMgrTap: the messaging endpoint cannot be opened; the log has the reason\n");
}

TEST_F(Tap, WaitsForTheService)
{
    const auto tap = Launch({"--wait-for-service", "20", "--count", "1"});
    service.Play("wait-subscribers 10\nvisibility 1 t\n").Start();
    EXPECT_EQ(tap->WaitForExit(), 0) << tap->Errors();
    EXPECT_TEXT(Shown(tap->Output()), "T visibility region 1 visible\n");
}

TEST_F(Tap, EndsOnASignalWhileItWaitsForTheService)
{
    const std::string directory = files / "linx";
    ChildProcess::Options settings;
    settings.environment["LINX_DIR"] = directory;
    ChildProcess tap({TAP_PROGRAM, "--wait-for-service", "1000"}, settings);
    const Deadline deadline(eventDeadlineMs);
    while (!std::filesystem::exists(directory)) {  // the tap makes it after its signal handlers
        ASSERT_FALSE(deadline.HasPassed());
        std::this_thread::yield();
    }
    tap.Signal(SIGINT);
    EXPECT_EQ(tap.WaitForExit(), 0);
    EXPECT_EQ(tap.Errors(), "");
}

TEST_F(Tap, EndsWithStatus4AtTheTimeLimitBeforeTheCount)
{
    service.Play("wait-subscribers 10\nvisibility 1 t\n").Start();
    const Ended tap = Run({"--seconds", "500ms", "--count", "2"});
    EXPECT_EQ(tap.status, 4);
    EXPECT_TEXT(Shown(tap.output), "T visibility region 1 visible\n");
}

TEST_F(Tap, EndsAfterTheCountWhenMoreFollows)
{
    service.Play("wait-subscribers 10\nvisibility 1 t\nvisibility 2 t\nvisibility 3 t\n").Start();
    const Ended tap = Run({"--seconds", "20", "--count", "2"});
    EXPECT_EQ(tap.status, 0);
    EXPECT_TEXT(Shown(tap.output),
                "T visibility region 1 visible\nT visibility region 2 visible\n");
}

TEST_F(Tap, EndsWithStatus0AndWholeLinesOnASignal)
{
    service.Accompany("bitmap", std::string(30720, '\x01'))
        .Play("wait-subscribers 10\nregion-data 1 0 @bitmap\nvisibility 1 t\n")
        .Loop()
        .Start();
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        const auto tap = Launch({"--json"});
        tap->WaitForOutput("RegionVisibility");
        tap->Signal(number);
        EXPECT_EQ(tap->WaitForExit(), 0) << number;
        EXPECT_EQ(tap->Errors(), "");
        Recorded(tap->Output());
    }
}

TEST_F(Tap, GoesOnWhenTheServiceRestarts)
{
    service.Play("wait-subscribers 10\nvisibility 1 t\n").Start();
    const auto tap = Launch({"--count", "3"});
    for (int start = 0; start < 2; ++start) {
        tap->WaitForOutput("visibility region 1 visible\n");
        service.Kill();
        service.Start();
    }
    EXPECT_EQ(tap->WaitForExit(), 0);
    EXPECT_EQ(tap->Errors(), "");
}

}  // namespace
