// A messaging directory that is removed or renamed and made again while a client runs, and the mode
// of a new messaging directory.

#include "tests/harness/forked.h"
#include "tests/unit/platform/DirectoryFixture.h"

#include <cerrno>
#include <functional>
#include <unistd.h>
#include <utility>

namespace {

std::function<void()> beforeNextChmod;

class RemadeDirectory : public DirectoryFixture {
protected:
    RemadeDirectory() { EXPECT_EQ(directory.Open(), 0); }
};

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

using MadeDirectory = DirectoryFixture;

TEST_F(MadeDirectory, HasItsModeUnderEveryUmask)
{
    ASSERT_EQ(chmod(folder.Path().c_str(), 0777), 0);
    const auto tryAll = [this] {
        int wrong = 0;
        for (mode_t mask = 0; mask <= 0777; ++mask) {
            const std::string name = std::to_string(geteuid()) + "." + std::to_string(mask);
            Configure(folder / name);
            umask(mask);
            wrong += platform::MessagingDirectory().Open() != 0 || ModeOf(name) != 0700;
        }
        return wrong > 0 ? 1 : 0;
    };
    EXPECT_EQ(StatusWithoutPrivileges(tryAll), 0);
    const mode_t before = umask(0);
    EXPECT_EQ(tryAll(), 0);
    umask(before);
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
