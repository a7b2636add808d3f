#include "words/file_contents.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace words {

namespace {

struct OpenFile {
    // Non-blocking: opening a pipe that has no writer would wait for one.
    explicit OpenFile(const std::string& path)
        : fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK))
    {
    }
    ~OpenFile() { close(fd); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    const int fd;
};

}  // namespace

bool ReadFile(const std::string& path, std::size_t limit, std::string& contents,
              std::string& problem)
{
    const OpenFile file(path);
    struct stat found {};
    bool isReadable = file.fd >= 0 && fstat(file.fd, &found) == 0;
    if (isReadable && !S_ISREG(found.st_mode) && !S_ISDIR(found.st_mode)) {
        problem = "not a file";
        return false;
    }
    ssize_t got = 1;
    while (isReadable && got != 0 && contents.size() <= limit) {
        char buffer[4096];  // no larger: the stacks of the device are small
        got = read(file.fd, buffer, sizeof buffer);
        isReadable = got >= 0 || errno == EINTR;
        contents.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    }
    problem = isReadable ? "more than " + std::to_string(limit) + " bytes" : std::strerror(errno);
    return isReadable && got == 0;
}

}  // namespace words
