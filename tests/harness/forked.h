#pragma once

#include "tests/harness/wait_limits.h"

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

/// Runs \p test in a child process. \return its result; -1 when a signal ended the child
template <typename Test>
int StatusOfChild(const Test& test)
{
    const pid_t child = fork();
    if (child == 0) {
        alarm(eventDeadlineMs / 1000);  // ends a child that hangs
        _exit(test());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Runs \p test in a child process without privileges.
/// \return its result; 98 or 99 when the child still had privileges
template <typename Test>
int StatusWithoutPrivileges(const Test& test)
{
    return StatusOfChild([&test] {
        constexpr uid_t unprivileged = 65534;
        if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(unprivileged) != 0 ||
                               setuid(unprivileged) != 0)) {
            return 98;
        }
        return geteuid() == 0 ? 99 : test();
    });
}
