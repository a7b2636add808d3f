#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

/// A simulated service that a long run kills, stops and starts again. It ends with this process.
class ServiceProcess {
public:
    /// \param command  the program and its options; what it says goes to the file \p errors
    ServiceProcess(std::vector<std::string> command, std::string errors);
    ~ServiceProcess();
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    /// Starts it with \p options besides, and waits until it is ready.
    void Start(const std::vector<std::string>& options);
    void Kill();
    /// Ends it in order.
    void End();
    void Stop();
    void Continue();

private:
    void Await(int expectedStatus);

    const std::vector<std::string> command;
    const std::string errors;
    pid_t pid = -1;
};

/// Ends the run: something must not have happened.
[[noreturn]] void Violation(const std::string& what);
