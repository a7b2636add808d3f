#include "view/output_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>
#include <utility>

namespace view {

namespace {

/// In the same folder. The process number: two programs may write the same file.
std::string TemporaryName(const std::string& path)
{
    const std::size_t name = path.rfind('/') + 1;
    return path.substr(0, name) + "." + path.substr(name) + "." + std::to_string(getpid());
}

}  // namespace

OutputFile::OutputFile(std::string pathToWrite)
    : path(std::move(pathToWrite)), temporary(path == "-" ? "" : TemporaryName(path))
{
    constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW;
    if (!temporary.empty()) {
        fd = open(temporary.c_str(), flags, 0666);
        Check(fd >= 0);
    }
}

OutputFile::~OutputFile()
{
    if (fd >= 0) {
        close(fd);
        unlink(temporary.c_str());
    }
}

void OutputFile::Write(const std::string& bytes)
{
    if (temporary.empty()) {
        std::cout << bytes << std::flush;
        return;
    }
    for (std::size_t at = 0; problem.empty() && at < bytes.size();) {
        const ssize_t count = write(fd, bytes.data() + at, bytes.size() - at);
        at += count > 0 ? static_cast<std::size_t>(count) : 0;
        Check(count >= 0 || errno == EINTR);
    }
}

void OutputFile::Finish()
{
    if (fd < 0 || !problem.empty()) {
        return;
    }
    Check(close(std::exchange(fd, -1)) == 0);
    if (problem.empty()) {
        Check(std::rename(temporary.c_str(), path.c_str()) == 0);
    }
    if (!problem.empty()) {
        unlink(temporary.c_str());
    }
}

bool OutputFile::IsGood() const { return problem.empty() && std::cout.good(); }

void OutputFile::Check(bool isDone)
{
    if (!isDone) {
        problem = path + ": " + std::strerror(errno);
    }
}

}  // namespace view
