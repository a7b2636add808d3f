#include "platform/src/descriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace platform {

Descriptor::Descriptor(int opened) : fd(opened)
{
    if (opened >= 0 && opened <= STDERR_FILENO) {
        fd = fcntl(opened, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        const int problem = errno;
        close(opened);
        errno = problem;  // callers report why a descriptor could not be had
    }
}

Descriptor::~Descriptor()
{
    if (fd >= 0) {
        close(fd);
    }
}

Descriptor::Descriptor(Descriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    std::swap(fd, other.fd);
    return *this;
}

}  // namespace platform
