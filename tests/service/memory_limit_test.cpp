// A service that may have little memory: a bitmap for which there is none is refused.

#include "tests/harness/build_kind.h"
#include "tests/service/SimulatorSession.h"

#include <map>
#include <set>
#include <sys/resource.h>

namespace {

class AMemoryLimit : public SimulatorSession {
protected:
    /// Lets the service have \p more kilobytes of address space than it has now.
    void Allow(rlim_t more)
    {
        const pid_t pid = service.Process().Pid();
        const std::string status = ReadWholeFile("/proc/" + std::to_string(pid) + "/status");
        const rlim_t now = std::stoul(status.substr(status.find("VmSize:") + 7));
        const rlimit limit{(now + more) * 1024, RLIM_INFINITY};
        ASSERT_EQ(prlimit(pid, RLIMIT_AS, &limit, nullptr), 0);
    }

    /// The bitmap of region 3 as a refresh publishes it.
    std::string KeptBitmap()
    {
        WireClient reader = Connect();
        reader.Subscribe(2);
        reader.Request(messages::refreshRegions);
        reader.ReceiveFrame();
        return reader.ReceiveFrame().payload;
    }
};

TEST_F(AMemoryLimit, RefusesABitmapAndKeepsTheOldOne)
{
    if (isSanitized || isEmulated) {
        GTEST_SKIP() << "the sanitizer or emulator needs address space of its own";
    }
    service.Quiet().Journal();
    const std::string first = RegionDataRecord(3, 0, "first");
    const std::string second = RegionDataRecord(3, 0, std::string(maxPayload - 6, 'x'));
    const std::string request = FrameBytes(FrameKind::Request, messages::setRegionData, 2, second);
    std::multiset<std::string> results;
    for (rlim_t megabytes = 0; megabytes <= 24; megabytes += 3) {
        service.Start();
        WireClient editor = Connect();
        ASSERT_EQ(editor.Ask(messages::setRegionData, first), accepted);
        editor.Send(request.substr(0, request.size() - 1));
        // All of it is there once another client, whose bytes came later, is answered.
        ASSERT_EQ(Connect().Ask(messages::ping), "");
        ASSERT_EQ(Connect().Ask(messages::ping), "");
        Allow(megabytes * 1024);
        editor.Send(request.substr(request.size() - 1));
        const std::string result = editor.ReceiveFrame().payload;
        Allow(1024 * 1024);
        ASSERT_TRUE(KeptBitmap() == (result == accepted ? second : first)) << megabytes << " MiB";
        if (result == refused) {
            service.Process().WaitForErrors("client 1: refused: there is no memory for it\n");
        }
        service.Stop();
        results.insert(result);
    }
    EXPECT_GT(results.count(refused), 0u);
    EXPECT_GT(results.count(accepted), 0u);
    std::map<std::string, std::size_t> journalled;
    for (const std::string& entry : service.JournalLines()) {
        ++journalled[entry.substr(0, entry.find(",\"crc32"))];
    }
    const std::string line =
        R"({"request":"SetRegionData","regionId":3,"subtitleFormat":0,"size":)";
    EXPECT_EQ(journalled[line + "5"], results.size());
    EXPECT_EQ(journalled[line + "16777210"], results.count(accepted));
    EXPECT_EQ(journalled.size(), 5u);  // those two, Ping, Subscribe and RefreshRegions
}

}  // namespace
