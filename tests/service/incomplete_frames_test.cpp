// Frames that never become complete: together they cost the service 64 MiB at most.

#include "tests/harness/build_kind.h"
#include "tests/harness/process_facts.h"
#include "tests/service/SimulatorSession.h"

#include <stdexcept>
#include <vector>

namespace {

class IncompleteFrames : public SimulatorSession {
protected:
    IncompleteFrames() { service.Quiet().Start(); }

    /// A request of which the first \p size bytes are sent.
    static std::string Beginning(std::size_t size)
    {
        return Bytes({'S', 'T', 1, 1}) + U32(messages::setRegionData) + U32(1) + U32(maxPayload) +
               std::string(size - frameHeaderSize, 'x');
    }
};

TEST_F(IncompleteFrames, HoldNoMoreThanTheirTotal)
{
    WireClient bystander = Connect();
    EXPECT_EQ(bystander.Ask(messages::ping), "");
    const long before = ResidentKilobytes(service.Process().Pid());
    constexpr std::size_t megabyte = 1024 * 1024;
    std::vector<WireClient> peers;
    WireClient small = Connect();
    small.Send(Beginning(megabyte));
    // Fewer where bytes are slow: a peer must not be silent for 30 seconds meanwhile.
    const unsigned int count = isSanitized || isEmulated ? 6 : 40;
    for (unsigned int number = 0; number < count; ++number) {
        peers.push_back(Connect());
        try {
            peers.back().Send(Beginning(frameHeaderSize + maxPayload - 1));
        } catch (const std::runtime_error&) {  // closed in the middle of it
        }
    }
    EXPECT_EQ(bystander.Ask(messages::ping), "");
    if (!isSanitized && !isEmulated) {
        // A buffer may be twice as large as what it holds.
        EXPECT_LT(ResidentKilobytes(service.Process().Pid()) - before, 160 * 1024);
    }
    service.Process().WaitForErrors(
        "SubtitleMgrSim: client 3: dropped: the incomplete frames of all clients exceed 64 MiB\n");
    // The smallest one is not closed: its request is completed and answered.
    small.Send(std::string(frameHeaderSize + maxPayload - megabyte, 'x'));
    EXPECT_EQ(small.ReceiveFrame().header.messageId, messages::notUnderstood);
}

}  // namespace
