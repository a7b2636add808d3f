// What a subscribed console costs while nothing happens.

#include "tests/support/ConsoleSession.h"
#include "tests/support/build_kind.h"

#include <chrono>
#include <ctime>
#include <thread>

namespace {

/// Processor time that the process has used so far.
std::chrono::nanoseconds ProcessorTime(pid_t pid)
{
    clockid_t clock = 0;
    timespec used{};
    EXPECT_EQ(clock_getcpuclockid(pid, &clock), 0);
    EXPECT_EQ(clock_gettime(clock, &used), 0);
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

}  // namespace

TEST_F(ConsoleSession, TakesNextToNoProcessorTimeWhileSubscribedAndIdle)
{
    StartService();
    StartClient({"-i"});
    Type("1\n");
    ExpectConsole(SubscribedMenu());
    // The receive thread sees the flag within half a second; only then does it wait for messages.
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    const auto before = ProcessorTime(Client().Pid());
    std::this_thread::sleep_for(std::chrono::seconds(2));
    const auto used = ProcessorTime(Client().Pid()) - before;
    // Under 1 % on a quiet machine. A wait that spins would take all of it.
    EXPECT_LT(used, std::chrono::milliseconds(isSanitized ? 400 : 60));
    Type("x\n");
    EXPECT_EQ(ExitStatus(), 0);
}
