#include "platform/src/messaging_directory.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/forked.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

std::function<void()> beforeNextChmod;

/// A messaging directory in a folder of the test.
class MessagingDirectory : public testing::Test {
protected:
    MessagingDirectory() { Configure(path); }
    ~MessagingDirectory() override
    {
        unsetenv("LINX_DIR");
        unsetenv("XDG_RUNTIME_DIR");
    }

    static void Configure(const std::string& value) { setenv("LINX_DIR", value.c_str(), 1); }

    int Connect(const std::string& name = "SubtitleMgr")
    {
        Descriptor connected;
        const int error = directory.Connect(name, Deadline(1000), connected);
        EXPECT_EQ(static_cast<bool>(connected), error == 0);
        return error;
    }

    void Make(const std::string& name, mode_t mode = 0700) const
    {
        ASSERT_EQ(mkdir((folder / name).c_str(), 0700), 0);
        ASSERT_EQ(chmod((folder / name).c_str(), mode), 0);
    }

    void Link(const std::string& target, const std::string& name) const
    {
        ASSERT_EQ(symlink((folder / target).c_str(), (folder / name).c_str()), 0);
    }

    /// 0 if the file does not exist
    unsigned int ModeOf(const std::string& name) const
    {
        struct stat found {};
        return lstat((folder / name).c_str(), &found) == 0 ? found.st_mode & 07777 : 0;
    }

    const TempDir folder;
    const std::string path = folder / "linx";
    platform::MessagingDirectory directory;
};

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
    for (const std::size_t length : {60u, 100u, 240u}) {
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

class OpenDirectory : public MessagingDirectory {
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

TEST_F(OpenDirectory, ConnectsToNothingButSockets)
{
    WriteWholeFile(path + "/file", "x");
    EXPECT_EQ(Connect("file"), ENOTSOCK);
    Make("linx/folder");
    EXPECT_EQ(Connect("folder"), ENOTSOCK);
    const RawService outside(folder / "outside");
    Link("outside", "linx/SubtitleMgr");
    Link(".", "linx/node1");
    EXPECT_EQ(Connect(), ENOTSOCK) << "it followed a link";
    EXPECT_EQ(Connect("node1/outside"), ENOTDIR) << "it followed a link";
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
}

/// A messaging directory that is removed or renamed and made again while a client runs.
using RemadeDirectory = OpenDirectory;

TEST_F(RemadeDirectory, IsFoundByTheNextConnect)
{
    ASSERT_EQ(rmdir(path.c_str()), 0);
    EXPECT_EQ(Connect(), ENOENT);
    EXPECT_EQ(ModeOf("linx"), 0u) << "a client that only connects made the directory";
    Make("linx");
    EXPECT_EQ(Connect(), ENOENT);
    Make("linx/node1");
    const RawService remote(path + "/node1/SubtitleMgr");
    EXPECT_EQ(Connect("node1/SubtitleMgr"), 0);
}

TEST_F(RemadeDirectory, IsFoundAfterARenameThatLeftAStaleSocket)
{
    {
        const RawService stale(path + "/SubtitleMgr");
        ASSERT_EQ(rename(path.c_str(), (folder / "aside").c_str()), 0);
    }
    Make("linx");
    const RawService service(path + "/SubtitleMgr");
    EXPECT_EQ(Connect(), 0);
    EXPECT_TRUE(service.HasClient());
}

TEST_F(RemadeDirectory, IsRefusedUnlessItsModeIsRight)
{
    ASSERT_EQ(rmdir(path.c_str()), 0);
    Make("linx", 0755);
    const RawService service(path + "/SubtitleMgr");
    EXPECT_EQ(Connect(), ENOENT);
    ASSERT_EQ(chmod(path.c_str(), 0700), 0);
    EXPECT_EQ(Connect(), 0);
}

TEST_F(RemadeDirectory, IsRefusedAsASymlink)
{
    ASSERT_EQ(rename(path.c_str(), (folder / "first").c_str()), 0);
    Make("other");
    Link("other", "linx");
    const RawService trap(folder / "other/Trap");
    EXPECT_EQ(Connect("Trap"), ENOENT);
    EXPECT_FALSE(trap.HasClient());
    const RawService service(folder / "first/SubtitleMgr");
    EXPECT_EQ(Connect(), 0) << "the client does not use the folder that it opened";
}

using MadeDirectory = MessagingDirectory;

TEST_F(MadeDirectory, HasItsModeUnderEveryUmask)
{
    ASSERT_EQ(chmod(folder.Path().c_str(), 0777), 0);
    EXPECT_EQ(StatusWithoutPrivileges([this] {
                  int wrong = 0;
                  for (const mode_t mask : {0u, 022u, 077u, 0177u, 0700u, 0777u}) {
                      const std::string name = std::to_string(mask);
                      Configure(folder / name);
                      umask(mask);
                      wrong += platform::MessagingDirectory().Open() != 0 || ModeOf(name) != 0700;
                  }
                  return wrong;
              }),
              0);
}

/// During the call that sets the mode, another directory is at the path.
TEST_F(MadeDirectory, GetsItsModeThroughItsDescriptor)
{
    beforeNextChmod = [this] {
        ASSERT_EQ(rename(path.c_str(), (folder / "made").c_str()), 0);
        Make("linx", 0500);
    };
    const mode_t before = umask(0177);
    directory.Open();
    umask(before);
    EXPECT_EQ(ModeOf("made"), 0700u);
    EXPECT_EQ(ModeOf("linx"), 0500u);
}

}  // namespace

extern "C" int __real_chmod(const char* path, mode_t mode);

extern "C" int __wrap_chmod(const char* path, mode_t mode)
{
    if (const auto change = std::exchange(beforeNextChmod, nullptr)) {
        change();
    }
    return __real_chmod(path, mode);
}
