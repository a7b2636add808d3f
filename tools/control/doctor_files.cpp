// What the command doctor finds out about the messaging directory and the log.

#include "control/doctor.h"

#include "platform/src/log_sink.h"
#include "platform/src/messaging_directory.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

using namespace platform;

namespace control {

namespace {

/// Sets a variable to \p path, without symbolic links.
std::string Name(const std::string& variable, const std::string& path)
{
    return "export " + variable + "=\"$(readlink -m " + ShellWord(path) + ")\"";
}

/// Makes the missing folder of \p path. \return empty when this user cannot
std::string MakeParent(const std::string& path)
{
    const std::filesystem::path parent = std::filesystem::absolute(path).parent_path();
    std::filesystem::path found = parent;
    while (access(found.c_str(), F_OK) != 0 && errno == ENOENT) {
        found = found.parent_path();
    }
    return found != parent && access(found.c_str(), W_OK | X_OK) == 0
               ? "mkdir -p " + ShellWord(parent.string())
               : "";
}

constexpr char otherDirectory[] = "export LINX_DIR=\"$HOME/linx\"";
constexpr char otherLog[] = "export SUBTITLE_LOG=\"$HOME/subtitle.log\"";

/// \param error  why the directory at \p path was refused
std::string RepairOfDirectory(const std::string& path, int error)
{
    struct stat found {};
    const bool exists = lstat(path.c_str(), &found) == 0;
    const bool isPlain = path.front() == '/' && error != EINVAL;
    if (!isPlain || (exists && S_ISLNK(found.st_mode))) {
        return Name("LINX_DIR", path);
    }
    std::string repair;
    if (!exists && error == ENOENT) {
        repair = MakeParent(path);
    } else if (exists && (found.st_uid == geteuid() || geteuid() == 0)) {
        const bool isShared = (found.st_mode & S_ISVTX) != 0;  // like /tmp
        repair = !S_ISDIR(found.st_mode)                  ? MoveAway(path)
                 : found.st_uid == geteuid() && !isShared ? "chmod 700 " + ShellWord(path)
                                                          : "";
    }
    return repair.empty() ? otherDirectory : repair;
}

std::string RepairOfLog(const std::string& path, int error)
{
    struct stat found {};
    const bool exists = lstat(path.c_str(), &found) == 0;
    if (exists && S_ISLNK(found.st_mode)) {
        return Name("SUBTITLE_LOG", path);
    }
    if (exists && S_ISREG(found.st_mode) && error == EACCES && found.st_uid == geteuid()) {
        return "chmod u+w " + ShellWord(path);
    }
    const std::string repair =
        !exists && error == ENOENT && path != "/dev/log" ? MakeParent(path) : "";
    return repair.empty() ? otherLog : repair;
}

}  // namespace

Finding ExamineDirectory(MessagingDirectory& directory)
{
    const int error = directory.Open();
    return error == 0
               ? Finding{"directory", "messaging directory " + directory.Path() + ": safe", ""}
               : Finding{"directory", directory.Problem(),
                         RepairOfDirectory(directory.Path(), error)};
}

Finding ExamineLog()
{
    const std::string place = LogPlace();
    const int error = TryLog("SubtitleMgrCtl", "examines the log");
    return error == 0 ? Finding{"log", "log " + place + ": written", ""}
                      : Finding{"log",
                                "log " + place + ": entries are lost: " +
                                    (error == EAGAIN ? "it is not read" : std::strerror(error)),
                                RepairOfLog(place, error)};
}

}  // namespace control
