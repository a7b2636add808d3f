#pragma once

#include "tests/harness/TempDir.h"

#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <unistd.h>

/// A disk of a few pages. This process and the processes that it starts later see it. Needs root.
class SmallDisk {
public:
    explicit SmallDisk(const std::string& size)
    {
        mounted = geteuid() == 0 && unshare(CLONE_NEWNS) == 0 &&
                  mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                  mount("none", folder.Path().c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
    }
    ~SmallDisk()
    {
        if (mounted) {
            umount2(folder.Path().c_str(), MNT_DETACH);
        }
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool IsMounted() const { return mounted; }

    /// Path of \p name on the disk.
    std::string operator/(const std::string& name) const { return folder / name; }

private:
    TempDir folder;
    bool mounted = false;
};
