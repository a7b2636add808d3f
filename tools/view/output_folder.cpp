#include "view/output_folder.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <sys/stat.h>
#include <unistd.h>

namespace view {

namespace {

/// \return 0 or the error
int WriteFile(const std::string& path, const std::string& bytes)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0666);
    int error = fd < 0 ? errno : 0;
    for (std::size_t at = 0; error == 0 && at < bytes.size();) {
        const ssize_t count = write(fd, bytes.data() + at, bytes.size() - at);
        at += count > 0 ? static_cast<std::size_t>(count) : 0;
        error = count < 0 && errno != EINTR ? errno : 0;
    }
    return fd >= 0 && close(fd) != 0 && error == 0 ? errno : error;
}

}  // namespace

OutputFolder::OutputFolder(std::string path) : folder(std::move(path))
{
    struct stat found {};
    if (IsStandardOutput() || mkdir(folder.c_str(), 0777) == 0) {
        return;
    }
    const int error = errno;
    if (error != EEXIST) {
        problem = folder + ": " + std::strerror(error);
    } else if (stat(folder.c_str(), &found) != 0 || !S_ISDIR(found.st_mode)) {
        problem = folder + ": " + std::strerror(ENOTDIR);
    }
}

std::string OutputFolder::PathOf(const std::string& name) const
{
    return folder + (folder.back() == '/' ? "" : "/") + name;
}

void OutputFolder::Write(const std::string& name, const std::string& bytes)
{
    if (!problem.empty()) {
        return;
    }
    if (IsStandardOutput()) {
        std::cout << bytes;
        return;
    }
    const std::string path = PathOf(name);
    // The process number: two programs may write into the same folder.
    const std::string temporary = PathOf("." + name + "." + std::to_string(getpid()));
    int error = WriteFile(temporary, bytes);
    if (error == 0 && std::rename(temporary.c_str(), path.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        unlink(temporary.c_str());
        problem = path + ": " + std::strerror(error);
    }
}

}  // namespace view
