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
    const std::string path = folder / "SubtitleMgr";
    const std::string lock = path + ".lock";
};

TEST_F(Listener, RemovesItsFilesAtItsEnd)
{
    EXPECT_EQ(Refusal(), "");
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST_F(Listener, IsRefusedForTheReasonOfItsDirectory)
{
    ASSERT_EQ(chmod(folder.Path().c_str(), 0755), 0);
    EXPECT_EQ(Refusal(), "messaging directory " + folder.Path() + ": has another mode than 0700");
}

TEST_F(Listener, IsRefusedUnderAnInvalidEndpointName)
{
    EXPECT_EQ(Refusal("../SubtitleMgr"), "not an endpoint name");
}

TEST_F(Listener, IsRefusedUnderANameThatNoSocketAddressHolds)
{
    const std::string name(100, 'n');
    EXPECT_EQ(Refusal(name), folder / name + ": the name is too long for a socket");
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

TEST_F(Listener, IsRefusedWhenAPartOfItsNameIsAFile)
{
    WriteWholeFile(folder / "node1", "");
    for (const std::string name : {"node1/SubtitleMgr", "node1/a/SubtitleMgr"}) {
        EXPECT_EQ(Refusal(name), folder / name + ": the folder cannot be opened: Not a directory");
    }
}

TEST_F(Listener, IsRefusedWhenItsLockIsAPipe)
{
    ASSERT_EQ(mkfifo(lock.c_str(), 0600), 0);
    EXPECT_EQ(Refusal(), lock + ": is not a file");
    EXPECT_TRUE(std::filesystem::is_fifo(lock));
}

TEST_F(Listener, IsRefusedWhenItsLockIsASymbolicLink)
{
    std::filesystem::create_symlink(folder / "elsewhere", lock);
    EXPECT_EQ(Refusal(), lock + ": cannot be opened: Too many levels of symbolic links");
    EXPECT_FALSE(std::filesystem::exists(folder / "elsewhere"));
}

TEST_F(Listener, IsRefusedWhileAnotherHasTheName)
{
    sim::Listener first;
    std::string problem;
    ASSERT_TRUE(first.Open("SubtitleMgr", problem)) << problem;
    EXPECT_EQ(Refusal(), path + ": another service runs under this name");
    EXPECT_TRUE(std::filesystem::is_socket(path));
}

}  // namespace
