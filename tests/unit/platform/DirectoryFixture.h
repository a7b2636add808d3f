#pragma once

#include "platform/src/messaging_directory.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/TempDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <sys/stat.h>

/// A messaging directory in a folder of the test.
class DirectoryFixture : public testing::Test {
protected:
    DirectoryFixture() { Configure(path); }
    ~DirectoryFixture() override
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
    MessagingDirectory directory;
};
