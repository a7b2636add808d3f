#include "bench/process.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace {

std::vector<char*> Pointers(const std::vector<std::string>& arguments)
{
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// In the child: it ends with the benchmark, even when that is killed.
void EndWithParent() { prctl(PR_SET_PDEATHSIG, SIGKILL); }

void UseAs(int fd, int standardFd)
{
    dup2(fd >= 0 ? fd : open("/dev/null", O_RDWR | O_CLOEXEC), standardFd);
}

}  // namespace

int Checked(int result, const char* what)
{
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

void PinToOneProcessor()
{
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    Checked(sched_getaffinity(0, sizeof allowed, &allowed), "sched_getaffinity");
    int processor = CPU_SETSIZE - 1;
    while (!CPU_ISSET(static_cast<unsigned int>(processor), &allowed)) {
        --processor;
    }
    CPU_ZERO(&allowed);
    CPU_SET(static_cast<unsigned int>(processor), &allowed);
    Checked(sched_setaffinity(0, sizeof allowed, &allowed), "sched_setaffinity");
}

Process::Process(int fd, const std::function<void(int)>& work) : pid(Checked(fork(), "fork"))
{
    if (pid != 0) {
        return;
    }
    EndWithParent();
    // A copy of a connection that its owner closes would keep it open.
    constexpr int keptFd = STDERR_FILENO + 1;
    dup2(fd, keptFd);
    close_range(keptFd + 1, ~0u, 0);
    try {
        work(keptFd);
    } catch (const std::exception&) {
        // Usually the other end has closed the socket, because it is done.
    }
    _exit(0);
}

Process::Process(const std::vector<std::string>& arguments, int input, int output)
    : pid(Checked(fork(), "fork"))
{
    if (pid != 0) {
        return;
    }
    EndWithParent();
    UseAs(input, STDIN_FILENO);
    UseAs(output, STDOUT_FILENO);
    UseAs(-1, STDERR_FILENO);
    execvp(arguments.front().c_str(), Pointers(arguments).data());
    _exit(127);
}

Process::~Process()
{
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

void RunProgram(const std::vector<std::string>& arguments)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, arguments.front().c_str(), &actions, nullptr,
                                   Pointers(arguments).data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = -1;
    if (error != 0 || waitpid(pid, &status, 0) != pid || status != 0) {
        throw std::runtime_error(arguments.front() + " failed");
    }
}

bool IsInstalled(const std::string& program)
{
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        folder.append("/").append(program);
        if (access(folder.c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

std::string ProgramBeside(const std::string& name)
{
    std::string path(4096, '\0');
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    path.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return path.substr(0, path.rfind('/') + 1) + name;
}
