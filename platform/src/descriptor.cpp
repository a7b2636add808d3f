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

bool WriteAll(int fd, const std::string& text)
{
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = write(fd, text.data() + done, text.size() - done);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    return true;
}

}  // namespace platform
