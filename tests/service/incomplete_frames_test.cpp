// Frames that never become complete: together they use at most 64 MiB of the service's memory.

#include "tests/harness/build_kind.h"
#include "tests/harness/process_facts.h"
#include "tests/service/SimulatorSession.h"

#include <stdexcept>
#include <vector>

namespace {

class IncompleteFrames : public SimulatorSession {
protected:
    IncompleteFrames() { service.Quiet().Start(); }

    /// Sends the first \p size bytes of a request.
    static std::string Beginning(std::size_t size)
    {
        return Bytes({'S', 'T', 1, 1}) + U32(messages::setRegionData) + U32(1) + U32(maxPayload) +
               std::string(size - frameHeaderSize, 'x');
    }
};

TEST_F(IncompleteFrames, StayBelowTheirTotalLimit)
{
    WireClient bystander = Connect();
    EXPECT_EQ(bystander.Ask(messages::ping), "");
    const long before = ResidentKilobytes(service.Process().Pid());
    constexpr std::size_t megabyte = 1024 * 1024;
    std::vector<WireClient> peers;
    WireClient small = Connect();
    small.Send(Beginning(megabyte));
    // Fewer bytes where sending is slow: no peer may be silent for 30 seconds.
    const unsigned int count = isSanitized || isEmulated ? 6 : 40;
    for (unsigned int number = 0; number < count; ++number) {
        peers.push_back(Connect());
        try {
            peers.back().Send(Beginning(frameHeaderSize + maxPayload - 1));
        } catch (const std::runtime_error&) {  // the service closed the connection
        }
    }
    EXPECT_EQ(bystander.Ask(messages::ping), "");
    if (!isSanitized && !isEmulated) {
        // A buffer may be twice as large as its content.
        EXPECT_LT(ResidentKilobytes(service.Process().Pid()) - before, 160 * 1024);
    }
    service.Process().WaitForErrors(
        "SubtitleMgrSim: client 3: dropped: the incomplete frames of all clients exceed 64 MiB\n");
    // The service keeps the smallest one: it answers the completed request.
    small.Send(std::string(frameHeaderSize + maxPayload - megabyte, 'x'));
    EXPECT_EQ(small.ReceiveFrame().header.messageId, messages::notUnderstood);
}

}  // namespace
