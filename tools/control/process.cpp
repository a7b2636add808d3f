#include "control/process.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <sys/sysmacros.h>

namespace control {

std::string Process::Text() const
{
    return id == 0 ? "a process" : "process " + std::to_string(id) + " (" + name + ")";
}

Process ProcessOf(pid_t id)
{
    Process process;
    std::ifstream file("/proc/" + std::to_string(id) + "/stat");
    std::string line;
    // "4711 (name) S ...": the name may hold blanks and parentheses.
    if (std::getline(file, line) && line.rfind(") ") != std::string::npos) {
        const std::size_t begin = line.find('(') + 1;
        const std::size_t end = line.rfind(") ");
        process.id = id;
        process.name = line.substr(begin, end - begin);
        process.isStopped = line[end + 2] == 'T';
    }
    return process;
}

Process HolderOf(const struct stat& file)
{
    char device[32];
    std::snprintf(device, sizeof device, "%02x:%02x:", major(file.st_dev), minor(file.st_dev));
    const std::string wanted = device + std::to_string(file.st_ino);
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        // "1: FLOCK  ADVISORY  WRITE 4711 fe:00:12271633 0 EOF"
        std::istringstream words(line);
        std::string number, kind, advice, access, where;
        pid_t id = 0;
        if (words >> number >> kind >> advice >> access >> id >> where && kind == "FLOCK" &&
            where == wanted) {
            return ProcessOf(id);
        }
    }
    return Process();
}

}  // namespace control
