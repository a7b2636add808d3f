// What a service does when a subscriber does not read.

#include "tests/harness/build_kind.h"
#include "tests/harness/process_facts.h"
#include "tests/service/SimulatorSession.h"

#include <regex>
#include <string>

using namespace platform;

namespace {

constexpr unsigned int recordsInAPass = 200;

/// A loop of numbered bitmaps, and two clients that read them.
class StalledSubscriber : public SimulatorSession {
protected:
    StalledSubscriber()
    {
        std::string scenario = "wait-subscribers 12\n";
        for (unsigned int number = 0; number < recordsInAPass; ++number) {
            const std::string name = "record" + std::to_string(number);
            service.Accompany(name, std::string(500, static_cast<char>(number)));
            scenario += "region-data 1 2 @" + name + "\n";
        }
        service.Play(scenario).Loop().Quiet().Start();
    }

    /// Expects that both readers get this many more records without a gap.
    void ReadOn(unsigned int count, WireClient& first, WireClient& second)
    {
        for (unsigned int i = 0; i < count; ++i, ++read) {
            const std::string pixels(500, static_cast<char>(read % recordsInAPass));
            const std::string expected =
                NotificationBytes(4, messages::regionDataItem, RegionDataRecord(1, 2, pixels));
            ASSERT_TRUE(first.ReceiveBytes() == expected) << "record " << read;
            ASSERT_TRUE(second.ReceiveBytes() == expected) << "record " << read;
        }
    }

    unsigned int read = 0;
};

TEST_F(StalledSubscriber, LosesItsOldestNotificationsAlone)
{
    WireClient stalled = Connect({4});
    WireClient first = Connect({4});
    WireClient second =
        Connect({4, 12});  // 12 starts the scenario, which does not publish under it
    WireClient other = Connect();
    for (int round = 0; round < 20; ++round) {
        ReadOn(500, first, second);
        ASSERT_FALSE(HasFatalFailure());
        ASSERT_EQ(other.Ask(messages::ping), "");
    }
    const long before = ResidentKilobytes(service.Process().Pid());
    ReadOn(10000, first, second);
    if (!isSanitized) {
        // 10,000 records are 5 MB; the stalled subscriber's backlog keeps 256 of them at most.
        EXPECT_LT(ResidentKilobytes(service.Process().Pid()), before + 1024);
    }
    const unsigned int correlation = stalled.Request(messages::ping);
    unsigned int notifications = 0;
    RawFrame frame = stalled.ReceiveFrame();
    for (; frame.header.kind == FrameKind::Notification; frame = stalled.ReceiveFrame()) {
        ++notifications;
    }
    EXPECT_EQ(frame.header.correlation, correlation);
    EXPECT_LT(notifications, 10000u);
    stalled.Close();
    service.Process().WaitForErrors("; notifications lost: ");
    service.Process().WaitForErrors("\n");
    const std::string errors = service.Process().Errors();
    EXPECT_TRUE(std::regex_match(
        errors, std::regex("SubtitleMgrSim: client 1: stalled, [^\n]*\n"
                           "SubtitleMgrSim: client 1: has (gone|caught up); notifications lost: "
                           "[1-9][0-9]*\n(SubtitleMgrSim: client 1: has gone[^\n]*\n)?")))
        << errors;
}

}  // namespace
