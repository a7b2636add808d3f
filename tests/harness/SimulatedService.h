#pragma once

#include "tests/harness/ChildProcess.h"
#include "tests/harness/TempDir.h"

#include <memory>
#include <string>
#include <vector>

/// The simulated service as a child process:
/// `SimulatedService(directory).Name("node1/SubtitleMgr").Fault("mute").Start()`.
///
/// The destructor stops it; a status other than 0 fails the test.
class SimulatedService {
public:
    /// \param messagingDirectory  the value of LINX_DIR for the service
    explicit SimulatedService(std::string messagingDirectory);
    ~SimulatedService();
    SimulatedService(const SimulatedService&) = delete;
    SimulatedService& operator=(const SimulatedService&) = delete;

    /// Sets another program than that of this build.
    SimulatedService& Program(const std::string& path);
    SimulatedService& Name(const std::string& name);
    SimulatedService& Fault(const std::string& kind);
    /// Plays a scenario of this text.
    SimulatedService& Play(const std::string& scenario);
    /// Writes a file next to the scenario of Play(), which uses it as @\p name.
    SimulatedService& Accompany(const std::string& name, const std::string& content);
    SimulatedService& Loop();
    SimulatedService& Quiet();
    /// Turns the journal on, see JournalLines().
    SimulatedService& Journal();
    SimulatedService& Option(const std::string& option);

    /// Starts the program and waits for its "ready". May be called again after the service ended.
    SimulatedService& Start();

    /// Ends the service by SIGTERM; a status other than 0 fails the test.
    void Stop();
    /// Ends the service by SIGKILL, so that its socket stays.
    void Kill();

    /// The lines of PlainJournal() up to now, without their newlines.
    std::vector<std::string> JournalLines() const;
    /// Waits for the journal. \return its lines, \p count or more
    std::vector<std::string> WaitForJournalLines(std::size_t count) const;

    std::string SocketPath() const;
    /// The running program; only after a start.
    ChildProcess& Process();

private:
    void EndAndCheck();

    std::string directory;
    std::string program;
    std::string name = "SubtitleMgr";
    std::vector<std::string> options;
    TempDir files;  ///< scenario and journal
    std::unique_ptr<ChildProcess> process;
    bool killed = false;
};

/// The whole lines of a journal without what differs from run to run: times and client numbers, and
/// without the result "ok". An incomplete last line stays as it is.
std::string PlainJournal(const std::string& text);

/// Paths of the two programs of this build.
const char* ClientProgram();
const char* ServiceProgram();

/// Copies a program to \p path, for a user who has no access to the build folder. The copy may add
/// other files whose names begin with \p path.
void CopyProgram(const std::string& program, const std::string& path);
