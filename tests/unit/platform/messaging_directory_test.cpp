#include "platform/src/messaging_directory.h"

#include "tests/harness/RawPeer.h"
#include "tests/harness/TempDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace platform;

namespace {

class TheMessagingDirectory : public testing::Test {
protected:
    TheMessagingDirectory() : path(folder / "linx") { Configure(path); }
    ~TheMessagingDirectory() override
    {
        unsetenv("LINX_DIR");
        unsetenv("XDG_RUNTIME_DIR");
    }

    static void Configure(const std::string& value) { setenv("LINX_DIR", value.c_str(), 1); }

    int Connect(const std::string& name)
    {
        Descriptor connected;
        const int error = directory.Connect(name, Deadline(1000), connected);
        EXPECT_EQ(static_cast<bool>(connected), error == 0);
        return error;
    }

    TempDir folder;
    std::string path;
    MessagingDirectory directory;
};

unsigned int ModeOf(const std::string& path)
{
    struct stat found {};
    return lstat(path.c_str(), &found) == 0 ? found.st_mode & 07777 : 0;
}

TEST_F(TheMessagingDirectory, ConnectsNobodyBeforeItIsOpen)
{
    EXPECT_EQ(directory.Fd(), -1);
    EXPECT_EQ(Connect("SubtitleMgr"), ENOTCONN);
}

TEST_F(TheMessagingDirectory, IsMadeForItsUserAlone)
{
    const mode_t before = umask(0);
    EXPECT_EQ(directory.Open(), 0);
    umask(before);
    EXPECT_EQ(ModeOf(path), 0700u);
    EXPECT_EQ(directory.Problem(), "");
}

TEST_F(TheMessagingDirectory, IsRefusedWithEveryOtherModeAndNeverRepaired)
{
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    for (unsigned int mode = 0; mode <= 0777; ++mode) {
        if (mode == 0700) {
            continue;
        }
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
        ASSERT_EQ(directory.Open(), EPERM) << std::oct << mode;
        ASSERT_EQ(directory.Problem(),
                  "messaging directory " + path + ": has another mode than 0700");
        ASSERT_EQ(ModeOf(path), mode);
    }
    chmod(path.c_str(), 0700);
    EXPECT_EQ(directory.Open(), 0);
}

TEST_F(TheMessagingDirectory, IsRefusedAsASymlinkAlsoWithASlashBehindIt)
{
    ASSERT_EQ(mkdir((folder / "decoy").c_str(), 0700), 0);
    ASSERT_EQ(symlink((folder / "decoy").c_str(), path.c_str()), 0);
    EXPECT_NE(directory.Open(), 0);
    EXPECT_EQ(directory.Problem(), "messaging directory " + path + ": is a symbolic link");
    for (const char* end : {"//", "/.", "/./", "/.//./"}) {
        Configure(path + end);
        EXPECT_NE(directory.Open(), 0) << end;
        EXPECT_EQ(directory.Problem(), "messaging directory " + path + ": is a symbolic link");
    }
    Configure(path + "/..");
    EXPECT_EQ(directory.Open(), EINVAL);
}

/// The root is itself however it is written, and no path but `/` is left of it.
TEST_F(TheMessagingDirectory, IsNeverTheRoot)
{
    for (const char* value : {"/", "//", "/.", "/./", "/.//."}) {
        Configure(value);
        EXPECT_EQ(directory.Open(), EPERM) << value;
        EXPECT_EQ(directory.Path(), "/") << value;
    }
    Configure("/..");
    EXPECT_EQ(directory.Open(), EINVAL);
    EXPECT_EQ(directory.Problem(), "messaging directory /..: ends in ..");
}

TEST_F(TheMessagingDirectory, IsRefusedAsAFile)
{
    WriteWholeFile(path, "precious");
    EXPECT_EQ(directory.Open(), ENOTDIR);
    EXPECT_EQ(ReadWholeFile(path), "precious");
}

TEST_F(TheMessagingDirectory, IsRefusedWhenItCannotBeMade)
{
    Configure(folder / "no/such/folder");
    EXPECT_EQ(directory.Open(), ENOENT);
}

TEST_F(TheMessagingDirectory, IsRefusedAsARelativePath)
{
    for (const char* value : {"linx", "./linx", "../linx"}) {
        Configure(value);
        EXPECT_EQ(directory.Open(), EINVAL) << value;
    }
}

TEST_F(TheMessagingDirectory, StandsInTheRuntimeFolderUnlessNamed)
{
    setenv("XDG_RUNTIME_DIR", folder.Path().c_str(), 1);
    Configure("");
    EXPECT_EQ(directory.Open(), 0);
    EXPECT_EQ(directory.Path(), folder.Path() + "/linx");
}

TEST_F(TheMessagingDirectory, StandsInTmpUnderTheUsersNumberOtherwise)
{
    Configure("");
    unsetenv("XDG_RUNTIME_DIR");
    directory.Open();
    EXPECT_EQ(directory.Path(), "/tmp/linx-" + std::to_string(geteuid()));
}

TEST_F(TheMessagingDirectory, ReachesAServiceAndOneOnAnotherNode)
{
    ASSERT_EQ(directory.Open(), 0);
    const RawService service(path + "/SubtitleMgr");
    ASSERT_EQ(mkdir((path + "/node1").c_str(), 0700), 0);
    const RawService remote(path + "/node1/SubtitleMgr");
    EXPECT_EQ(Connect("SubtitleMgr"), 0);
    EXPECT_EQ(Connect("node1/SubtitleMgr"), 0);
}

TEST_F(TheMessagingDirectory, HasNobodyUnderAFreeName)
{
    ASSERT_EQ(directory.Open(), 0);
    EXPECT_EQ(Connect("SubtitleMgr"), ENOENT);
    EXPECT_EQ(Connect("node1/SubtitleMgr"), ENOENT);
}

TEST_F(TheMessagingDirectory, RefusesNamesThatLeaveIt)
{
    ASSERT_EQ(directory.Open(), 0);
    const RawService outside(folder / "outside");
    for (const std::string& name :
         {std::string(), std::string("/"), std::string("../outside"), std::string("."),
          std::string("a/../../outside"), std::string("a//b"), std::string("/SubtitleMgr"),
          std::string("SubtitleMgr/"), folder / "outside", std::string(256, 'x'),
          std::string("a\nb"), std::string("a\0b", 3), std::string("a\x7f")}) {
        EXPECT_EQ(Connect(name), EINVAL) << name;
    }
}

TEST_F(TheMessagingDirectory, FollowsNoSymlinkInAName)
{
    ASSERT_EQ(directory.Open(), 0);
    const RawService outside(folder / "outside");
    ASSERT_EQ(symlink((folder / "outside").c_str(), (path + "/SubtitleMgr").c_str()), 0);
    ASSERT_EQ(symlink(folder.Path().c_str(), (path + "/node1").c_str()), 0);
    EXPECT_NE(Connect("SubtitleMgr"), 0);
    EXPECT_NE(Connect("node1/outside"), 0);
}

TEST_F(TheMessagingDirectory, ConnectsToNothingButSockets)
{
    ASSERT_EQ(directory.Open(), 0);
    WriteWholeFile(path + "/SubtitleMgr", "x");
    EXPECT_EQ(Connect("SubtitleMgr"), ENOTSOCK);
    ASSERT_EQ(mkdir((path + "/folder").c_str(), 0700), 0);
    EXPECT_EQ(Connect("folder"), ENOTSOCK);
    const RawService service(path + "/SubtitleMgr.real");
    ASSERT_EQ(symlink("SubtitleMgr.real", (path + "/link").c_str()), 0);
    EXPECT_EQ(Connect("link"), ENOTSOCK);
}

TEST_F(TheMessagingDirectory, MayHaveAPathOfAnyLengthAndNamesUpToAFileNamesLength)
{
    for (std::size_t length = 60; length <= 240; length += 3) {
        const std::string deep = folder / std::string(length, 'd');
        Configure(deep);
        ASSERT_EQ(directory.Open(), 0) << length;
        EXPECT_EQ(Connect(std::string(255, 'n')), ENOENT) << length;
        // The service is reached from inside, where its path is short.
        ASSERT_EQ(chdir(deep.c_str()), 0);
        const RawService service("SubtitleMgr");
        EXPECT_EQ(Connect("SubtitleMgr"), 0) << length;
    }
    ASSERT_EQ(chdir("/"), 0);
}

/// There is room for `/proc/self/fd/`, the folder's number, `/` and the name in 107 bytes.
TEST_F(TheMessagingDirectory, RefusesASocketWhoseNameDoesNotFitAnAddress)
{
    ASSERT_EQ(directory.Open(), 0);
    const std::string longName(92, 'n');
    ASSERT_EQ(chdir(path.c_str()), 0);
    const RawService service(longName);
    ASSERT_EQ(chdir("/"), 0);
    EXPECT_EQ(Connect(longName), ENAMETOOLONG);
}

TEST_F(TheMessagingDirectory, GivesUpOnAServiceThatTakesNobody)
{
    ASSERT_EQ(directory.Open(), 0);
    const Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string name = path + "/SubtitleMgr";
    ASSERT_LT(name.size(), sizeof address.sun_path);
    name.copy(address.sun_path, name.size());
    ASSERT_EQ(bind(listener.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener.Get(), 0), 0);
    Descriptor first;
    ASSERT_EQ(directory.Connect("SubtitleMgr", Deadline(1000), first), 0);
    Descriptor second;
    int error = 0;
    for (int i = 0; i < 3 && error == 0; ++i) {
        error = directory.Connect("SubtitleMgr", Deadline(50), second);
    }
    EXPECT_EQ(error, ETIMEDOUT);
    // However little time is left, it is never taken for no limit.
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(directory.Connect("SubtitleMgr", Deadline(1), second), ETIMEDOUT);
        ASSERT_EQ(directory.Connect("SubtitleMgr", Deadline(0), second), ETIMEDOUT);
    }
    // And a whole second counts beside its rest.
    const auto start = Deadline::Clock::now();
    EXPECT_EQ(directory.Connect("SubtitleMgr", Deadline(1100), second), ETIMEDOUT);
    EXPECT_GE(Deadline::Clock::now() - start, std::chrono::milliseconds(1090));
}

}  // namespace
