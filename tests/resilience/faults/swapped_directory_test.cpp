// A messaging directory that changes during a connect, and endpoints with a very short life.

#include "platform/src/messaging_directory.h"
#include "platform/src/wire_format.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/build_kind.h"
#include "tests/harness/process_facts.h"
#include "tests/harness/wait_limits.h"

#include <IpcMessage.h>
#include <LinxIpc.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace platform;

namespace {

constexpr int rounds = isEmulated ? 300 : isSanitized ? 1000 : 5000;

TEST(SwappedDirectory, IsNeverFollowed)
{
    const TempDir folder;
    const std::string path = folder / "linx";
    const std::string decoy = folder / "decoy";
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    ASSERT_EQ(mkdir(decoy.c_str(), 0700), 0);
    ASSERT_EQ(symlink(decoy.c_str(), (folder / "link").c_str()), 0);
    const RawService trap(decoy + "/SubtitleMgr");
    setenv("LINX_DIR", path.c_str(), 1);
    std::atomic<bool> ended{false};
    std::thread swapper([&] {
        while (!ended) {
            rename(path.c_str(), (folder / "aside").c_str());
            rename((folder / "link").c_str(), path.c_str());
            rename(path.c_str(), (folder / "link").c_str());
            rename((folder / "aside").c_str(), path.c_str());
        }
    });
    int opened = 0;
    const Deadline deadline(eventDeadlineMs);
    for (int i = 0; i < rounds || (opened == 0 && !deadline.HasPassed()); ++i) {
        MessagingDirectory directory;
        if (directory.Open() == 0) {
            ++opened;
            Descriptor connected;
            EXPECT_EQ(directory.Connect("SubtitleMgr", Deadline(1000), connected), ENOENT);
        }
    }
    ended = true;
    swapper.join();
    unsetenv("LINX_DIR");
    EXPECT_FALSE(trap.HasClient());
    EXPECT_GT(opened, 0);
}

class ShortLivedEndpoint : public testing::Test {
protected:
    ShortLivedEndpoint() { setenv("LINX_DIR", folder.Path().c_str(), 1); }
    ~ShortLivedEndpoint() override { unsetenv("LINX_DIR"); }

    const TempDir folder;
};

TEST_F(ShortLivedEndpoint, DeliversItsMessages)
{
    RawService service(folder / "SubtitleMgr");
    constexpr unsigned count = isEmulated || isSanitized ? 100 : 500;
    std::thread sender([] {
        for (unsigned i = 0; i < count; ++i) {
            LinxIpc ipc("Sender");
            IpcMessage message;
            EXPECT_EQ(ipc.Init(), 0);
            EXPECT_EQ(message.Allocate(messages::quit, 0, nullptr), 0);
            EXPECT_EQ(ipc.Notify("SubtitleMgr", message, true), 0);
        }
    });
    for (unsigned i = 0; i < count; ++i) {
        const RawFrame frame = service.Accept()->ReceiveFrame();
        EXPECT_EQ(frame.header.messageId, messages::quit);
    }
    sender.join();
}

TEST_F(ShortLivedEndpoint, LeavesNoDescriptorOpen)
{
    RawService service(folder / "SubtitleMgr");
    const int before = CountDescriptors(getpid());
    for (unsigned i = 0; i < 200; ++i) {
        LinxIpc ipc("Short");
        IpcMessage request;
        EXPECT_EQ(ipc.Init(), 0);
        EXPECT_EQ(request.Allocate(messages::ping, 0, nullptr), 0);
        std::thread peer([&] {
            const auto connection = service.Accept();
            connection->Reply(connection->ExpectRequest(messages::ping));
        });
        EXPECT_EQ(
            ipc.Request("SubtitleMgr", request, messages::ReplyTo(messages::ping), 10000, nullptr),
            0);
        peer.join();
    }
    EXPECT_EQ(CountDescriptors(getpid()), before);
}

}  // namespace
