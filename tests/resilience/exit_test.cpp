// The end of a process while its receive thread works. The endpoint is destroyed first, and no
// handler runs afterwards; then the statistics that handlers use are destroyed. This is a sample;
// script/soak ends ten thousand consoles.

#include "tests/harness/ConsoleSession.h"
#include "tests/harness/build_kind.h"

#include <future>

namespace {

/// With a sanitizer a single run finds a wrong order.
constexpr int consoles = isSanitized || isEmulated ? 16 : 32;
constexpr int atATime = 8;

class ConsoleUnderTraffic : public ConsoleSession {
protected:
    void SetUp() override
    {
        // Publishes each kind of notification as fast as subscribers read. The large bitmap takes
        // most of the time: its handler uses the statistics after it has copied the bitmap.
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

    /// Subscribes, waits for traffic and types \p keys, which must leave the console.
    /// \return the printed text
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

TEST_F(ConsoleUnderTraffic, LetsTheOptionsAfterItWork)
{
    const std::string output = Leave({"-i", "-p", "-s", "3", "-p"}, "x\n", 3);
    const std::size_t first = output.find("Successful Ping");
    EXPECT_NE(output.find("Successful Ping", first + 1), std::string::npos);
}

}  // namespace
