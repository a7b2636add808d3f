// The processor time of a console without traffic.

#include "tests/harness/ConsoleSession.h"
#include "tests/harness/build_kind.h"
#include "tests/harness/process_facts.h"

#include <chrono>
#include <thread>

namespace {

class IdleConsole : public ConsoleSession {
protected:
    void ExpectCheap()
    {
        EXPECT_EQ(Client().CountThreads(), 2);
        // The receive thread reads its flag within half a second; measure afterwards.
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        const long before = ProcessorMilliseconds(Client().Pid());
        std::this_thread::sleep_for(std::chrono::seconds(1));
        // Less than 1 % on an idle machine. A busy wait would use 100 %.
        EXPECT_LT(ProcessorMilliseconds(Client().Pid()) - before, isSanitized ? 200 : 50);
    }
};

TEST_F(IdleConsole, TakesNextToNoProcessorTime)
{
    StartService();
    StartClient({"-i"});
    ExpectConsole(UnsubscribedMenu());
    ExpectCheap();
    Type("1\n");
    ExpectConsole(SubscribedMenu());
    ExpectCheap();
    Type("x\n");
    EXPECT_EQ(ExitStatus(), 0);
}

}  // namespace
