#pragma once

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

/// Keeps this process, and all that it starts, on one processor. With two, the measures would
/// include the host's cost of waking a processor.
void PinToOneProcessor();

/// A process that ends with this object, or with the process that made it.
class Process {
public:
    /// Runs \p work in a copy of this process that has no descriptors but the standard ones and one
    /// copy of \p fd, which it is called with. An exception just ends it.
    Process(int fd, const std::function<void(int)>& work);

    /// Runs a program as found in PATH. \p input and \p output, where not -1, become its standard
    /// input and output; everything else goes to /dev/null, also the messages of servers.
    explicit Process(const std::vector<std::string>& arguments, int input = -1, int output = -1);

    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t Pid() const { return pid; }

private:
    pid_t pid;
};

/// Runs a program to its end, with its output to /dev/null; throws when it fails.
void RunProgram(const std::vector<std::string>& arguments);

/// Whether \p program is found in PATH.
bool IsInstalled(const std::string& program);

/// The path of a program that was built beside this one.
std::string ProgramBeside(const std::string& name);

/// Throws std::system_error with \p what and errno when \p result is negative.
int Checked(int result, const char* what);
