// What a subscribed console costs while nothing happens.

#include "tests/harness/ConsoleSession.h"
#include "tests/harness/build_kind.h"

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

class AnIdleConsole : public ConsoleSession {
protected:
    /// Types \p keys, waits until \p shown and then for two seconds.
    void ExpectCheap(const std::string& keys, const std::string& shown)
    {
        StartService();
        StartClient({"-i"});
        Type(keys);
        ExpectConsole(shown);
        // The receive thread sees its flag within half a second; what it does then is measured.
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        const auto before = ProcessorTime(Client().Pid());
        std::this_thread::sleep_for(std::chrono::seconds(2));
        const auto used = ProcessorTime(Client().Pid()) - before;
        // Under 1 % on a quiet machine. A wait that spins would take all of it.
        EXPECT_LT(used, std::chrono::milliseconds(isSanitized ? 400 : 60));
        Type("x\n");
        EXPECT_EQ(ExitStatus(), 0);
    }
};

}  // namespace

TEST_F(AnIdleConsole, RunsInTwoThreads)
{
    StartService();
    StartClient({"-i"});
    ExpectConsole(UnsubscribedMenu());
    EXPECT_EQ(Client().CountThreads(), 2);
    Type("1\nr\n");
    ExpectConsole("Sending RefreshRegions\n\n" + SubscribedMenu());
    EXPECT_EQ(Client().CountThreads(), 2);
    Type("x\n");
    EXPECT_EQ(ExitStatus(), 0);
}

TEST_F(AnIdleConsole, TakesNextToNoProcessorTimeWhileSubscribed)
{
    ExpectCheap("1\n", SubscribedMenu());
}

TEST_F(AnIdleConsole, TakesNextToNoProcessorTimeWhileUnsubscribed)
{
    ExpectCheap("", UnsubscribedMenu());
}
