// A messaging directory that is removed, or renamed, and made again below a running client; and the
// mode that a new one gets.

#include "platform/src/deadline.h"
#include "platform/src/messaging_directory.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/wait_limits.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

extern "C" int __real_chmod(const char* path, mode_t mode);

namespace {

std::function<void()> beforeChmod = [] {};

constexpr uid_t unprivileged = 65534;

unsigned int ModeOf(const std::string& path)
{
    struct stat found {};
    return lstat(path.c_str(), &found) == 0 ? found.st_mode & 07777 : 0;
}

class RemadeDirectory : public testing::Test {
protected:
    RemadeDirectory()
    {
        setenv("LINX_DIR", path.c_str(), 1);
        EXPECT_EQ(directory.Open(), 0);
    }
    ~RemadeDirectory() override { unsetenv("LINX_DIR"); }

    int Connect(const std::string& name = "SubtitleMgr")
    {
        Descriptor connected;
        const int error = directory.Connect(name, Deadline(1000), connected);
        EXPECT_EQ(static_cast<bool>(connected), error == 0);
        return error;
    }

    void Make(mode_t mode = 0700)
    {
        ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
    }

    const TempDir folder;
    const std::string path = folder / "linx";
    MessagingDirectory directory;
};

TEST_F(RemadeDirectory, IsFoundByTheNextConnect)
{
    ASSERT_EQ(rmdir(path.c_str()), 0);
    EXPECT_EQ(Connect(), ENOENT);
    EXPECT_EQ(ModeOf(path), 0u) << "made by a client that only connects";
    Make();
    EXPECT_EQ(Connect(), ENOENT);
    const RawService service(path + "/SubtitleMgr");
    ASSERT_EQ(mkdir((path + "/node1").c_str(), 0700), 0);
    const RawService remote(path + "/node1/SubtitleMgr");
    EXPECT_EQ(Connect(), 0);
    EXPECT_EQ(Connect("node1/SubtitleMgr"), 0);
}

TEST_F(RemadeDirectory, IsFoundAfterARenameThatLeftAStaleSocket)
{
    const std::string aside = folder / "aside";
    {
        const RawService stale(path + "/SubtitleMgr");
        ASSERT_EQ(rename(path.c_str(), aside.c_str()), 0);
    }
    Make();
    const RawService service(path + "/SubtitleMgr");
    EXPECT_EQ(Connect(), 0);
    EXPECT_TRUE(service.HasClient());
}

TEST_F(RemadeDirectory, IsRefusedUnlessItsModeIsRight)
{
    ASSERT_EQ(rmdir(path.c_str()), 0);
    Make(0755);
    const RawService service(path + "/SubtitleMgr");
    EXPECT_EQ(Connect(), ENOENT);
    ASSERT_EQ(chmod(path.c_str(), 0700), 0);
    EXPECT_EQ(Connect(), 0);
}

TEST_F(RemadeDirectory, IsRefusedAsASymlink)
{
    ASSERT_EQ(rename(path.c_str(), (folder / "decoy").c_str()), 0);
    ASSERT_EQ(symlink((folder / "decoy").c_str(), path.c_str()), 0);
    MessagingDirectory unused;
    const RawService beyond(folder / "decoy/SubtitleMgr");
    EXPECT_EQ(Connect(), 0) << "the folder that was opened is the one that it is now a link to";
    ASSERT_EQ(unlink(path.c_str()), 0);
    ASSERT_EQ(mkdir((folder / "other").c_str(), 0700), 0);
    ASSERT_EQ(symlink((folder / "other").c_str(), path.c_str()), 0);
    const RawService trap(folder / "other/Trap");
    EXPECT_EQ(Connect("Trap"), ENOENT);
    EXPECT_FALSE(trap.HasClient());
}

/// Runs \p test in a child process without privileges. \return its exit status
template <typename Test>
int StatusWithoutPrivileges(const Test& test)
{
    const pid_t child = fork();
    if (child == 0) {
        const bool isRoot = geteuid() == 0;
        if (isRoot && (setgroups(0, nullptr) != 0 || setgid(unprivileged) != 0 ||
                       setuid(unprivileged) != 0)) {
            _exit(98);
        }
        _exit(geteuid() == 0 ? 99 : test());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(MadeDirectory, HasItsModeWhateverTheUmask)
{
    const TempDir folder;
    if (geteuid() == 0) {
        ASSERT_EQ(chown(folder.Path().c_str(), unprivileged, unprivileged), 0);
    }
    const auto tryAll = [&] {
        int wrong = 0;
        for (mode_t mask = 0; mask <= 0777; ++mask) {
            const std::string path =
                folder / (std::to_string(geteuid()) + "." + std::to_string(mask));
            setenv("LINX_DIR", path.c_str(), 1);
            umask(mask);
            wrong += MessagingDirectory().Open() != 0 || ModeOf(path) != 0700;
        }
        return wrong > 0 ? 1 : 0;
    };
    EXPECT_EQ(StatusWithoutPrivileges(tryAll), 0);
    const mode_t before = umask(0);
    EXPECT_EQ(tryAll(), 0);
    umask(before);
    unsetenv("LINX_DIR");
}

/// The mode is set through what was opened, and only where this call has made something.
TEST(MadeDirectory, IsTheOnlyOneWhoseModeIsSet)
{
    const TempDir folder;
    const std::string path = folder / "linx";
    const std::string decoy = folder / "decoy";
    ASSERT_EQ(mkdir(decoy.c_str(), 0755), 0);
    ASSERT_EQ(chmod(decoy.c_str(), 0755), 0);
    ASSERT_EQ(symlink(decoy.c_str(), (folder / "link").c_str()), 0);
    setenv("LINX_DIR", path.c_str(), 1);
    const mode_t before = umask(0777);
    std::atomic<bool> isOver{false};
    std::thread swapper([&] {
        while (!isOver) {
            rename(path.c_str(), (folder / "aside").c_str());
            rename((folder / "link").c_str(), path.c_str());
            rename(path.c_str(), (folder / "link").c_str());
            rmdir((folder / "aside").c_str());
        }
    });
    int made = 0;
    const Deadline deadline(eventDeadlineMs);
    for (int round = 0; round < 2000 || (made == 0 && !deadline.HasPassed()); ++round) {
        made += MessagingDirectory().Open() == 0;
        rmdir(path.c_str());
    }
    isOver = true;
    swapper.join();
    umask(before);
    EXPECT_EQ(ModeOf(decoy), 0755u);
    EXPECT_GT(made, 0);
    unsetenv("LINX_DIR");
}

/// Another one is at the path when the mode is set.
TEST(MadeDirectory, GetsItsModeThroughItsDescriptor)
{
    const TempDir folder;
    const std::string path = folder / "linx";
    setenv("LINX_DIR", path.c_str(), 1);
    beforeChmod = [&] {
        ASSERT_EQ(rename(path.c_str(), (folder / "made").c_str()), 0);
        ASSERT_EQ(mkdir(path.c_str(), 0500), 0);
    };
    const mode_t before = umask(0077);
    EXPECT_EQ(MessagingDirectory().Open(), 0);
    umask(before);
    EXPECT_EQ(ModeOf(folder / "made"), 0700u);
    EXPECT_EQ(ModeOf(path), 0500u);
    unsetenv("LINX_DIR");
}

TEST(MadeDirectory, IsNotRepairedWhenItWasThereBefore)
{
    const TempDir folder;
    const std::string path = folder / "linx";
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    ASSERT_EQ(chmod(path.c_str(), 0600), 0);
    setenv("LINX_DIR", path.c_str(), 1);
    EXPECT_NE(MessagingDirectory().Open(), 0);
    EXPECT_EQ(ModeOf(path), 0600u);
    unsetenv("LINX_DIR");
}

}  // namespace

extern "C" int __wrap_chmod(const char* path, mode_t mode)
{
    std::exchange(beforeChmod, [] {})();
    return __real_chmod(path, mode);
}
