// What a console costs while nothing happens.

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
        // The receive thread sees its flag within half a second; what it does then is measured.
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        const long before = ProcessorMilliseconds(Client().Pid());
        std::this_thread::sleep_for(std::chrono::seconds(1));
        // Under 1 % on a quiet machine. A wait that spins would take all of it.
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
