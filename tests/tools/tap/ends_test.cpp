// The reasons for the end of the tap, and its status.

#include "tests/harness/wait_limits.h"
#include "tests/tools/tap/TapSession.h"

#include <csignal>
#include <filesystem>

namespace {

using Tap = TapSession;

TEST_F(Tap, EndsWithStatus3WithoutSubscription)
{
    const std::string problem = "SubtitleMgr accepts no subscription: it does not run, or refuses";
    ExpectEnd(*Launch({"--json"}), 3, problem);
    service.Fault("refuse-subscribe").Start();
    ExpectEnd(*Launch({"--wait-for-service", "10ms"}), 3, problem);
}

TEST_F(Tap, EndsWithStatus3WithoutMessagingDirectory)
{
    ChildProcess::Options settings;
    settings.environment["LINX_DIR"] = "relative";
    ExpectEnd(*Launch({}, settings), 3,
              "the messaging endpoint cannot be opened; the log has the reason");
}

TEST_F(Tap, WaitsForTheService)
{
    const auto tap = Launch({"--wait-for-service", "20", "--count", "1"});
    service.Play("wait-subscribers 10\nvisibility 1 t\n").Start();
    ExpectEnd(*tap, 0);
}

TEST_F(Tap, EndsOnASignalWhileItWaitsForTheService)
{
    const std::string directory = files / "linx";
    ChildProcess::Options settings;
    settings.environment["LINX_DIR"] = directory;
    const auto tap = Launch({"--wait-for-service", "1000"}, settings);
    // The tap makes it after its signal handlers.
    WaitUntil([&] { return std::filesystem::exists(directory); }, [&] { return directory; });
    tap->Signal(SIGINT);
    ExpectEnd(*tap, 0);
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
        ExpectEnd(*tap, 0);
        Recorded(tap->Output());
    }
}

TEST_F(Tap, GoesOnWhenTheServiceRestarts)
{
    service.Play("wait-subscribers 10\nvisibility 1 t\n").Start();
    const auto tap = Launch({"--count", "2"});
    tap->WaitForOutput("visibility region 1 visible\n");
    service.Kill();
    service.Start();
    ExpectEnd(*tap, 0);
}

}  // namespace
