#include "tests/harness/build_kind.h"
#include "tests/harness/wait_limits.h"
#include "tests/unit/platform/DirectoryFixture.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>
#include <unistd.h>

namespace {

using MessagingDirectory = DirectoryFixture;

TEST_F(MessagingDirectory, ConnectsToNoServiceBeforeItIsOpen)
{
    EXPECT_EQ(directory.Fd(), -1);
    EXPECT_EQ(Connect(), ENOTCONN);
}

TEST_F(MessagingDirectory, IsRefusedWithEveryModeBut0700)
{
    Make("linx");
    for (unsigned int mode = 0; mode <= 0777; ++mode) {
        if (mode == 0700) {
            continue;
        }
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
        ASSERT_EQ(directory.Open(), EPERM) << std::oct << mode;
        ASSERT_EQ(directory.Problem(),
                  "messaging directory " + path + ": has another mode than 0700");
        ASSERT_EQ(ModeOf("linx"), mode);
    }
    chmod(path.c_str(), 0700);
    EXPECT_EQ(directory.Open(), 0);
    EXPECT_EQ(directory.Problem(), "");
}

TEST_F(MessagingDirectory, IsRefusedWhenAnotherUserOwnsIt)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can change the owner of a folder";
    }
    for (const mode_t mode : {0700u, 0755u}) {
        Make("linx", mode);
        ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
        EXPECT_EQ(directory.Open(), EPERM);
        EXPECT_EQ(directory.Problem(), "messaging directory " + path + ": belongs to another user");
        ASSERT_EQ(rmdir(path.c_str()), 0);
    }
}

TEST_F(MessagingDirectory, IsRefusedAsASymlinkInEverySpelling)
{
    Make("decoy");
    Link("decoy", "linx");
    for (const char* end : {"", "//", "/.", "/./", "/.//./"}) {
        Configure(path + end);
        EXPECT_NE(directory.Open(), 0) << end;
        EXPECT_EQ(directory.Problem(), "messaging directory " + path + ": is a symbolic link");
    }
}

/// Each of these paths is the root, and its normal form is `/`.
TEST_F(MessagingDirectory, IsNeverTheRoot)
{
    for (const char* value : {"/", "//", "/.", "/./", "/.//."}) {
        Configure(value);
        EXPECT_EQ(directory.Open(), EPERM) << value;
        EXPECT_EQ(directory.Path(), "/") << value;
    }
}

TEST_F(MessagingDirectory, IsAnAbsolutePathThatDoesNotEndInDots)
{
    for (const std::string& value : {std::string("linx"), std::string("./linx"),
                                     std::string("../linx"), std::string("/.."), path + "/.."}) {
        Configure(value);
        EXPECT_EQ(directory.Open(), EINVAL) << value;
    }
    EXPECT_EQ(directory.Problem(), "messaging directory " + path + "/..: ends in ..");
}

TEST_F(MessagingDirectory, IsRefusedWhenItCannotBeMade)
{
    WriteWholeFile(path, "precious");
    EXPECT_EQ(directory.Open(), ENOTDIR);
    EXPECT_EQ(ReadWholeFile(path), "precious");
    Configure(folder / "no/such/folder");
    EXPECT_EQ(directory.Open(), ENOENT);
    EXPECT_EQ(directory.Problem(), "messaging directory " + (folder / "no/such/folder") +
                                       ": cannot be made: No such file or directory");
}

TEST_F(MessagingDirectory, IsInTheRuntimeFolderOrTmpUnlessNamed)
{
    setenv("XDG_RUNTIME_DIR", folder.Path().c_str(), 1);
    Configure("");
    EXPECT_EQ(directory.Open(), 0);
    EXPECT_EQ(directory.Path(), path);
    unsetenv("XDG_RUNTIME_DIR");
    directory.Open();
    EXPECT_EQ(directory.Path(), "/tmp/linx-" + std::to_string(geteuid()));
}

TEST_F(MessagingDirectory, MayHaveAPathOfAnyLength)
{
    for (std::size_t length = 60; length <= 240; length += 20) {
        const std::string deep = folder / std::string(length, 'd');
        Configure(deep);
        ASSERT_EQ(directory.Open(), 0) << length;
        EXPECT_EQ(Connect(std::string(255, 'n')), ENOENT) << length;
        // The test makes the service by a short relative path.
        ASSERT_EQ(chdir(deep.c_str()), 0);
        const RawService service("SubtitleMgr");
        EXPECT_EQ(Connect(), 0) << length;
    }
    ASSERT_EQ(chdir("/"), 0);
}

TEST_F(MessagingDirectory, IsNotFollowedWhenASymlinkReplacesIt)
{
    constexpr int rounds = isEmulated ? 300 : isSanitized ? 1000 : 5000;
    Make("linx");
    Make("decoy");
    Link("decoy", "link");
    const RawService trap(folder / "decoy/SubtitleMgr");
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
        platform::MessagingDirectory swapped;
        if (swapped.Open() == 0) {
            ++opened;
            Descriptor connected;
            EXPECT_EQ(swapped.Connect("SubtitleMgr", Deadline(1000), connected), ENOENT);
        }
    }
    ended = true;
    swapper.join();
    EXPECT_FALSE(trap.HasClient());
    EXPECT_GT(opened, 0);
}

class OpenDirectory : public DirectoryFixture {
protected:
    OpenDirectory() { EXPECT_EQ(directory.Open(), 0); }
};

TEST_F(OpenDirectory, ConnectsToServicesOfThisAndAnotherNode)
{
    EXPECT_EQ(Connect(), ENOENT);
    EXPECT_EQ(Connect("node1/SubtitleMgr"), ENOENT);
    const RawService service(path + "/SubtitleMgr");
    Make("linx/node1");
    const RawService remote(path + "/node1/SubtitleMgr");
    EXPECT_EQ(Connect(), 0);
    EXPECT_EQ(Connect("node1/SubtitleMgr"), 0);
}

TEST_F(OpenDirectory, RefusesNamesThatLeaveIt)
{
    const RawService outside(folder / "outside");
    for (const std::string& name :
         {std::string(), std::string("/"), std::string("../outside"), std::string("."),
          std::string("a/../../outside"), std::string("a//b"), std::string("/SubtitleMgr"),
          std::string("SubtitleMgr/"), folder / "outside", std::string(256, 'x'),
          std::string("a\nb"), std::string("a\0b", 3), std::string("a\x7f")}) {
        EXPECT_EQ(Connect(name), EINVAL) << name;
    }
}

TEST_F(OpenDirectory, FollowsNoSymlinkInAName)
{
    const RawService outside(folder / "outside");
    Link("outside", "linx/SubtitleMgr");
    Link(".", "linx/node1");
    EXPECT_EQ(Connect(), ENOTSOCK);
    EXPECT_EQ(Connect("node1/outside"), ENOTDIR);
}

TEST_F(OpenDirectory, ConnectsToNothingButSockets)
{
    WriteWholeFile(path + "/SubtitleMgr", "x");
    EXPECT_EQ(Connect(), ENOTSOCK);
    Make("linx/folder");
    EXPECT_EQ(Connect("folder"), ENOTSOCK);
}

/// `/proc/self/fd/`, the number of the folder's descriptor, `/` and the name have 107 bytes.
TEST_F(OpenDirectory, RefusesANameThatDoesNotFitAnAddress)
{
    const std::string longName(92, 'n');
    ASSERT_EQ(chdir(path.c_str()), 0);
    const RawService service(longName);
    ASSERT_EQ(chdir("/"), 0);
    EXPECT_EQ(Connect(longName), ENAMETOOLONG);
}

TEST_F(OpenDirectory, GivesUpWhenTheServiceNeverAccepts)
{
    const RawService busy(path + "/SubtitleMgr", /*waiting*/ 0);
    EXPECT_EQ(Connect(), 0);
    const auto connect = [this](int waitMs) {
        Descriptor connected;
        return directory.Connect("SubtitleMgr", Deadline(waitMs), connected);
    };
    // A very short remaining time must not count as no limit.
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(connect(1), ETIMEDOUT);
        ASSERT_EQ(connect(0), ETIMEDOUT);
    }
    // Seconds and their fraction both count.
    const auto start = Deadline::Clock::now();
    EXPECT_EQ(connect(1100), ETIMEDOUT);
    EXPECT_GE(Deadline::Clock::now() - start, std::chrono::milliseconds(1090));
}

}  // namespace
