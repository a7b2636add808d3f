#include "simulator/file_contents.h"

#include "platform/src/descriptor.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace sim {

using namespace platform;

bool ReadFileContents(const std::string& path, std::size_t limit, std::string& contents,
                      std::string& problem)
{
    // Non-blocking: opening a pipe that has no writer would wait for one.
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat found {};
    bool isReadable = file && fstat(file.Get(), &found) == 0;
    if (isReadable && !S_ISREG(found.st_mode) && !S_ISDIR(found.st_mode)) {
        problem = "not a file";
        return false;
    }
    contents.clear();
    ssize_t got = 1;
    while (isReadable && got != 0 && found.st_size <= static_cast<off_t>(limit) &&
           contents.size() <= limit) {
        char buffer[4096];  // no larger: the stacks of the device are small
        got = read(file.Get(), buffer, sizeof buffer);
        isReadable = got >= 0 || errno == EINTR;
        contents.append(buffer, got > 0 ? static_cast<std::size_t>(got) : 0);
    }
    problem = isReadable ? "more than " + std::to_string(limit) + " bytes" : std::strerror(errno);
    return isReadable && got == 0;
}

}  // namespace sim
