#include "tests/resilience/soak/ServiceProcess.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr int startLimitMs = 60000;

/// In the child, where only what a signal handler may do is allowed.
[[noreturn]] void Run(char* const* words, int output, const char* errors)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int log = open(errors, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    dup2(output, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
    execvp(words[0], words);
    _exit(127);
}

}  // namespace

void Violation(const std::string& what)
{
    std::printf("VIOLATION: %s\n", what.c_str());
    std::fflush(stdout);
    std::_Exit(1);
}

ServiceProcess::ServiceProcess(std::vector<std::string> words, std::string errorFile)
    : command(std::move(words)), errors(std::move(errorFile))
{
}

ServiceProcess::~ServiceProcess()
{
    if (pid > 0) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
}

void ServiceProcess::Start(const std::vector<std::string>& options)
{
    std::vector<std::string> words = command;
    words.insert(words.end(), options.begin(), options.end());
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0 || (pid = fork()) < 0) {
        Violation(std::string("no service can be started: ") + std::strerror(errno));
    }
    if (pid == 0) {
        Run(pointers.data(), ends[1], errors.c_str());
    }
    close(ends[1]);
    pollfd wait{ends[0], POLLIN, 0};
    char ready[6] = {};
    if (poll(&wait, 1, startLimitMs) != 1 || read(ends[0], ready, sizeof ready) != 6 ||
        std::memcmp(ready, "ready\n", 6) != 0) {
        kill(pid, SIGKILL);
        Await(0);
    }
    close(ends[0]);
}

void ServiceProcess::Kill()
{
    kill(pid, SIGKILL);
    Await(SIGKILL);
}

void ServiceProcess::End()
{
    kill(pid, SIGTERM);
    Await(0);
}

void ServiceProcess::Stop() { kill(pid, SIGSTOP); }
void ServiceProcess::Continue() { kill(pid, SIGCONT); }

/// \param expectedStatus  as waitpid() tells it; another one shows what the service said
void ServiceProcess::Await(int expectedStatus)
{
    int status = -1;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    pid = -1;
    if (status != expectedStatus) {
        std::ostringstream said;
        said << std::ifstream(errors).rdbuf();
        Violation("the service ended with " + std::to_string(status) + ": " + said.str());
    }
}
