// The end of a process whose receive thread is in the middle of its work: the endpoint goes first
// and lets no handler run afterwards, then go the statistics that the handlers use. This is a
// sample; script/soak ends ten thousand consoles.

#include "tests/harness/ConsoleSession.h"
#include "tests/harness/build_kind.h"

#include <future>

namespace {

/// A sanitizer finds a wrong end in a single run of it.
constexpr int consoles = isSanitized || isEmulated ? 16 : 32;
constexpr int atATime = 8;

class ConsoleUnderTraffic : public ConsoleSession {
protected:
    void SetUp() override
    {
        // Each kind of notification, as fast as the readers take them. Most of the time goes into
        // the large bitmap: a handler that copies it is about to touch the statistics.
        Service()
            .Quiet()
            .Play("wait-subscribers 10\n"
                  "region-data 1 2 @bitmap\nvisibility 2 t\npalette 3 31 t 10ff\n"
                  "region-data 4 0 @large\nregion-data 15 1 -\nregion-data 5 2 0009\n")
            .Accompany("bitmap", std::string(30720, '\2'))
            .Accompany("large", std::string(400000, '\2'))
            .Loop();
        StartService();
    }

    /// Subscribes, waits for the traffic and types \p keys, which must leave the console.
    /// \return what it printed
    std::string Leave(const std::vector<std::string>& options, const std::string& keys,
                      int notifications)
    {
        std::vector<std::string> arguments{ClientProgram()};
        arguments.insert(arguments.end(), options.begin(), options.end());
        ChildProcess console(arguments, ClientSettings());
        console.Write("1\n");
        console.WaitForOutput(SubscribedMenu().substr(0, 20));
        for (int i = 0; i < notifications; ++i) {
            console.WaitForOutput("*** ");
        }
        console.Write(keys);
        EXPECT_EQ(console.WaitForExit(), 0);
        EXPECT_EQ(console.Errors(), "");
        return console.Output();
    }
};

TEST_F(ConsoleUnderTraffic, EndsCleanlyEveryTime)
{
    std::vector<std::future<void>> lanes;
    for (int lane = 0; lane < atATime; ++lane) {
        lanes.push_back(std::async(std::launch::async, [this, lane] {
            for (int round = lane; round < consoles && !HasFailure(); round += atATime) {
                Leave({"-i"}, "x\n", round % 7);
            }
        }));
    }
    for (std::future<void>& lane : lanes) {
        lane.get();
    }
}

TEST_F(ConsoleUnderTraffic, AnswersItsKeys)
{
    Leave({"-i"}, "r\ns\nc\n6\n1\nr\n2\n1\nr\ns\nx\n", 3);
}

TEST_F(ConsoleUnderTraffic, ActsOnTheOptionsAfterIt)
{
    const std::string output = Leave({"-i", "-p", "-s", "3", "-p"}, "x\n", 3);
    const std::size_t first = output.find("Successful Ping");
    EXPECT_NE(output.find("Successful Ping", first + 1), std::string::npos);
}

}  // namespace
