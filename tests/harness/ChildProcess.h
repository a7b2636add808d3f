#pragma once

#include "platform/src/descriptor.h"

#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <sys/resource.h>
#include <sys/types.h>
#include <thread>
#include <vector>

using namespace platform;

/// A program that a test starts, with its standard streams connected to the test.
///
/// A pump thread reads both outputs all the time, so the program never waits for a full pipe. Every
/// wait has a deadline. When it passes, or when the awaited text can no longer arrive, the wait
/// throws std::runtime_error with the output of the program, which fails the test. The destructor
/// kills the program; the kernel kills it when the thread that started it ends.
class ChildProcess {
public:
    struct Options {
        /// Added to the test's own environment; an empty value removes the variable.
        std::map<std::string, std::string> environment;
        /// All three streams are one pseudo-terminal. All text counts as output, with "\r\n" for
        /// each newline, and the terminal echoes typed text into it.
        bool onTerminal = false;
        /// A signal that the program starts with ignored, or 0. All others have their defaults.
        int ignoredSignal = 0;
        /// Descriptors of the test that become these streams; -1 for a pipe that the pump reads.
        int output = -1;
        int errors = -1;
        /// The largest file that the program may write.
        rlim_t fileSizeLimit = RLIM_INFINITY;
    };

    explicit ChildProcess(const std::vector<std::string>& arguments);
    /// \param arguments  the program, a path or a name to find in PATH, and its arguments
    ChildProcess(const std::vector<std::string>& arguments, const Options& options);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Adds \p text to what the pump writes to the program's standard input; never blocks.
    void Write(const std::string& text);

    /// Ends the standard input after all text is written. On a terminal, types the end-of-file key.
    void CloseInput();

    /// Waits until \p text appears after the text that the last WaitForOutput() found.
    void WaitForOutput(const std::string& text);
    void WaitForErrors(const std::string& text);

    /// Waits until the program has ended and both outputs are read to their ends.
    /// \return the exit status, or minus the number of the signal that ended it
    int WaitForExit();

    /// Everything printed so far.
    std::string Output() const;
    std::string Errors() const;

    bool IsRunning() const;

    /// Threads of the program, without those that a sanitizer adds.
    int CountThreads() const;
    pid_t Pid() const { return pid; }

    /// Sends a signal; does nothing when the program has ended.
    void Signal(int number);
    /// Stop() sends SIGSTOP and returns when the program is stopped; Continue() sends SIGCONT.
    void Stop();
    void Continue();

    /// Closes the terminal of the program, like closing its window.
    void HangUp();

private:
    struct Stream {
        Descriptor fd;
        std::string text;
        std::size_t found = 0;  ///< end of the text that was found last
        bool ended = false;
    };

    void StartProgram(const std::vector<std::string>& arguments, const Options& options);
    void Pump();
    void ReadSome(Stream& stream);
    void WriteSome();
    void NoteExit();
    void Kill(int number);
    void Wake();
    void WaitForText(Stream& stream, const std::string& text);
    [[noreturn]] void Fail(const std::string& what) const;

    std::string programName;
    bool onTerminal;
    pid_t pid = -1;
    Descriptor pidFd;
    Descriptor wakeFd;

    mutable std::mutex mutex;  ///< guards everything below; the pump holds it except while it polls
    std::condition_variable changed;
    Descriptor inputFd;
    std::string unwritten;
    bool inputCloses = false;
    Stream output;
    Stream errors;
    bool exited = false;
    int exitStatus = 0;
    bool stopping = false;

    std::thread pump;
};
