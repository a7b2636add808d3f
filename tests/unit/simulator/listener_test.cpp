#include "simulator/listener.h"

#include "tests/harness/TempDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/stat.h>

using namespace platform;

namespace {

class Listener : public testing::Test {
protected:
    Listener() { setenv("LINX_DIR", folder.Path().c_str(), 1); }
    ~Listener() override { unsetenv("LINX_DIR"); }

    /// \return the reason why the name cannot be opened; empty after success
    static std::string Refusal(const std::string& name = "SubtitleMgr")
    {
        sim::Listener listener;
        std::string problem;
        const bool isOpen = listener.Open(name, problem);
        EXPECT_EQ(isOpen, listener.Fd() >= 0) << name;
        EXPECT_EQ(isOpen, problem.empty()) << name;
        return problem;
    }

    const TempDir folder;
};

TEST_F(Listener, IsRefusedForTheReasonOfItsDirectory)
{
    ASSERT_EQ(chmod(folder.Path().c_str(), 0755), 0);
    EXPECT_EQ(Refusal(), "messaging directory " + folder.Path() + ": has another mode than 0700");
}

TEST_F(Listener, IsRefusedUnderANameThatCannotBeUsed)
{
    WriteWholeFile(folder / "file", "");
    const std::string tooLong(100, 'n');
    const std::string notAFolder = ": the folder cannot be opened: Not a directory";
    for (const auto& [name, reason] :
         {std::pair<std::string, std::string>("../SubtitleMgr", "not an endpoint name"),
          {tooLong, folder / tooLong + ": the name is too long for a socket"},
          {"file/SubtitleMgr", folder / "file/SubtitleMgr" + notAFolder},
          {"file/a/SubtitleMgr", folder / "file/a/SubtitleMgr" + notAFolder}}) {
        EXPECT_EQ(Refusal(name), reason);
    }
    std::filesystem::remove(folder / "file");
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST_F(Listener, IsFoundUnderANameThatIsLongerThanAPathMayBe)
{
    std::string name;
    for (int depth = 0; depth < 30; ++depth) {
        name += std::string(200, 'd') + "/";
    }
    sim::Listener listener;
    std::string problem;
    ASSERT_TRUE(listener.Open(name + "SubtitleMgr", problem)) << problem;
    MessagingDirectory directory;
    ASSERT_EQ(directory.Open(), 0);
    Descriptor connected;
    EXPECT_EQ(directory.Connect(name + "SubtitleMgr", Deadline(1000), connected), 0);
}

TEST_F(Listener, IsRefusedWhenItsLockIsNoFile)
{
    const std::string lock = folder / "SubtitleMgr.lock";
    ASSERT_EQ(mkfifo(lock.c_str(), 0600), 0);
    EXPECT_EQ(Refusal(), lock + ": is not a file");
    EXPECT_TRUE(std::filesystem::is_fifo(lock));
    std::filesystem::remove(lock);
    std::filesystem::create_symlink(folder / "elsewhere", lock);
    EXPECT_EQ(Refusal(), lock + ": cannot be opened: Too many levels of symbolic links");
    EXPECT_FALSE(std::filesystem::exists(folder / "elsewhere"));
}

}  // namespace
