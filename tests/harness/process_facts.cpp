#include "tests/harness/process_facts.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/resource.h>
#include <unistd.h>

namespace {

std::string Proc(pid_t pid, const std::string& name)
{
    return "/proc/" + std::to_string(pid) + "/" + name;
}

}  // namespace

int CountDescriptors(pid_t pid)
{
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(Proc(pid, "fd"))) {
        count += entry.path().empty() ? 0 : 1;
    }
    return count;
}

long ResidentKilobytes(pid_t pid)
{
    std::ifstream file(Proc(pid, "statm"));
    long size = 0;
    long resident = 0;
    file >> size >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

long ProcessorMilliseconds(pid_t pid)
{
    std::ifstream file(Proc(pid, "stat"));
    std::string text;
    std::getline(file, text);
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string skipped;
    for (int i = 0; i < 11; ++i) {
        fields >> skipped;
    }
    long user = 0;
    long system = 0;
    fields >> user >> system;
    return (user + system) * 1000 / sysconf(_SC_CLK_TCK);
}

std::string InheritableDescriptors(pid_t pid)
{
    std::string found;
    for (const auto& entry : std::filesystem::directory_iterator(Proc(pid, "fdinfo"))) {
        std::ifstream file(entry.path());
        std::string word;
        while (file >> word && word != "flags:") {
        }
        file >> word;
        constexpr unsigned long closeOnExec = 02000000;
        const int fd = std::atoi(entry.path().filename().c_str());
        if (fd > STDERR_FILENO && (std::strtoul(word.c_str(), nullptr, 8) & closeOnExec) == 0) {
            found += std::to_string(fd) + " ";
        }
    }
    return found;
}

void AllowManyDescriptors()
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 4096);
    setrlimit(RLIMIT_NOFILE, &limit);
}
