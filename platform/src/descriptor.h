#pragma once

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace platform {

/// Owns one file descriptor.
class Descriptor {
public:
    Descriptor() = default;

    /// Takes over \p opened, -1 for none, and moves it above standard error: if a standard stream
    /// is closed, a socket could get its number, and the menu would go to the service.
    explicit Descriptor(int opened) : fd(opened)
    {
        if (opened >= 0 && opened <= STDERR_FILENO) {
            fd = fcntl(opened, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
            const int problem = errno;
            close(opened);
            errno = problem;  // callers report it
        }
    }
    ~Descriptor()
    {
        if (fd >= 0) {
            close(fd);
        }
    }
    Descriptor(Descriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(fd, other.fd);
        return *this;
    }

    int Get() const { return fd; }
    explicit operator bool() const { return fd >= 0; }

private:
    int fd = -1;
};

}  // namespace platform
