#pragma once

#include "tests/harness/ChildProcess.h"
#include "tests/harness/TempDir.h"

#include <memory>
#include <string>
#include <vector>

/// The simulated service as a process of its own:
/// `SimulatedService(directory).Name("node1/SubtitleMgr").Fault("mute").Start()`.
///
/// The destructor stops it; a status other than 0 fails the test.
class SimulatedService {
public:
    /// \param messagingDirectory  what the service gets as LINX_DIR
    explicit SimulatedService(std::string messagingDirectory);
    ~SimulatedService();
    SimulatedService(const SimulatedService&) = delete;
    SimulatedService& operator=(const SimulatedService&) = delete;

    /// Another program than that of this build.
    SimulatedService& Program(const std::string& path);
    SimulatedService& Name(const std::string& name);
    SimulatedService& Fault(const std::string& kind);
    /// Plays a scenario of this text.
    SimulatedService& Play(const std::string& scenario);
    /// A file beside the scenario of Play(), which names it as @\p name.
    SimulatedService& Accompany(const std::string& name, const std::string& content);
    SimulatedService& Loop();
    SimulatedService& Quiet();
    /// Keeps a journal, see JournalLines().
    SimulatedService& Journal();
    SimulatedService& Option(const std::string& option);

    /// Starts the program and waits for its "ready". May be called again after the service ended.
    SimulatedService& Start();
    /// Starts the program and waits for nothing: for a service that is to refuse.
    SimulatedService& StartUnawaited();

    /// Ends it by SIGTERM; a status other than 0 fails the test.
    void Stop();
    /// Ends it by SIGKILL, so that its socket stays.
    void Kill();

    /// The lines journalled so far, without their newlines; a line that is being written is left
    /// out.
    std::vector<std::string> JournalLines() const;
    /// \return the lines, \p count or more
    std::vector<std::string> WaitForJournalLines(std::size_t count) const;
    void WaitForJournalLine(const std::string& line) const;

    std::string SocketPath() const;
    /// The running program; only after a start.
    ChildProcess& Process();

private:
    void EndAndCheck();
    std::string ReadJournal() const;

    std::string directory;
    std::string program;
    std::string name = "SubtitleMgr";
    std::vector<std::string> options;
    TempDir files;  ///< scenario and journal
    std::unique_ptr<ChildProcess> process;
    bool killed = false;
};

/// Where the two programs of this build are.
const char* ClientProgram();
const char* ServiceProgram();

/// Copies one of them to \p path, for a user who cannot go where it is. Other files whose names
/// begin with \p path may come with it.
void CopyProgram(const std::string& program, const std::string& path);
