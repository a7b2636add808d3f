#include "simulator/listener.h"

#include "tests/harness/TempDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/stat.h>

using namespace platform;
using namespace sim;

namespace {

class AListener : public testing::Test {
protected:
    AListener() { setenv("LINX_DIR", folder.Path().c_str(), 1); }
    ~AListener() override { unsetenv("LINX_DIR"); }

    /// \return why the name cannot be opened; empty when it can
    std::string Refusal(const std::string& name)
    {
        Listener listener;
        std::string problem;
        const bool isOpen = listener.Open(name, problem);
        EXPECT_EQ(isOpen, listener.Fd() >= 0) << name;
        EXPECT_EQ(isOpen, problem.empty()) << name;
        return problem;
    }

    std::string Path(const std::string& name) { return folder / name; }

    TempDir folder;
};

TEST_F(AListener, LeavesNothingBehind)
{
    EXPECT_EQ(Refusal("SubtitleMgr"), "");
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST_F(AListener, IsRefusedForTheReasonOfItsDirectory)
{
    ASSERT_EQ(chmod(folder.Path().c_str(), 0755), 0);
    EXPECT_EQ(Refusal("SubtitleMgr"),
              "messaging directory " + folder.Path() + ": has another mode than 0700");
}

TEST_F(AListener, IsRefusedUnderWhatIsNoName)
{
    for (const std::string name : {"", "..", "../SubtitleMgr", "a//b", "/SubtitleMgr"}) {
        EXPECT_EQ(Refusal(name), "not an endpoint name") << name;
    }
}

TEST_F(AListener, IsRefusedUnderANameThatNoSocketAddressHolds)
{
    const std::string name(100, 'n');
    EXPECT_EQ(Refusal(name), Path(name) + ": the name is too long for a socket");
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST_F(AListener, IsFoundUnderANameThatIsLongerThanAPathMayBe)
{
    std::string name;
    for (int depth = 0; depth < 30; ++depth) {
        name += std::string(200, 'd') + "/";
    }
    name += "SubtitleMgr";
    Listener listener;
    std::string problem;
    ASSERT_TRUE(listener.Open(name, problem)) << problem;
    MessagingDirectory directory;
    ASSERT_EQ(directory.Open(), 0);
    Descriptor connected;
    EXPECT_EQ(directory.Connect(name, Deadline(1000), connected), 0);
}

TEST_F(AListener, IsOpenAndGoneAgainUnderANameOfVeryManyParts)
{
    std::string name;
    for (int depth = 0; depth < 300; ++depth) {
        name += "d/";
    }
    EXPECT_EQ(Refusal(name + "SubtitleMgr"), "");
}

TEST_F(AListener, IsRefusedBehindAFile)
{
    WriteWholeFile(Path("node1"), "");
    EXPECT_EQ(Refusal("node1/SubtitleMgr"),
              Path("node1/SubtitleMgr") + ": the folder cannot be opened: Not a directory");
    EXPECT_EQ(Refusal("node1/a/SubtitleMgr"),
              Path("node1/a/SubtitleMgr") + ": the folder cannot be opened: Not a directory");
}

TEST_F(AListener, IsRefusedWhenItsLockIsAPipe)
{
    ASSERT_EQ(mkfifo(Path("SubtitleMgr.lock").c_str(), 0600), 0);
    EXPECT_EQ(Refusal("SubtitleMgr"), Path("SubtitleMgr") + ".lock: is not a file");
    EXPECT_TRUE(std::filesystem::is_fifo(Path("SubtitleMgr.lock")));
}

TEST_F(AListener, IsRefusedWhenItsLockIsASymbolicLink)
{
    std::filesystem::create_symlink(Path("elsewhere"), Path("SubtitleMgr.lock"));
    EXPECT_EQ(Refusal("SubtitleMgr"), Path("SubtitleMgr") +
                                          ".lock: cannot be opened: Too many levels of symbolic "
                                          "links");
    EXPECT_FALSE(std::filesystem::exists(Path("elsewhere")));
}

TEST_F(AListener, IsRefusedWhileAnotherHasTheName)
{
    Listener first;
    std::string problem;
    ASSERT_TRUE(first.Open("SubtitleMgr", problem)) << problem;
    EXPECT_EQ(Refusal("SubtitleMgr"),
              Path("SubtitleMgr") + ": another service runs under this name");
    EXPECT_TRUE(std::filesystem::is_socket(Path("SubtitleMgr")));
}

}  // namespace
