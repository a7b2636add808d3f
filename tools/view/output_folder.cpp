#include "view/output_folder.h"

#include "view/output_file.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace view {

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
    if (problem.empty()) {
        OutputFile file(IsStandardOutput() ? folder : PathOf(name));
        file.Write(bytes);
        file.Finish();
        problem = file.Problem();
    }
}

}  // namespace view
