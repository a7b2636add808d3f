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

/// A program started by a test, with its standard streams in the test's hands.
///
/// A pump thread reads both outputs all the time, so the program never waits for a full pipe. Every
/// wait has a deadline. When it passes, or when the awaited text can no longer come, the wait
/// throws std::runtime_error with what the program has printed, which fails the test. The program
/// is killed by the destructor, and when the thread that started it ends.
class ChildProcess {
public:
    struct Options {
        /// Added to the test's own environment; an empty value removes the variable.
        std::map<std::string, std::string> environment;
        /// All three streams are one pseudo-terminal; everything printed counts as output, with
        /// "\r\n" for each newline, and typed text is echoed into it.
        bool onTerminal = false;
        /// A program that prints more than this on one stream is killed: a console at the end of
        /// its input prints for ever.
        std::size_t outputLimit = 64u * 1024u * 1024u;
        /// A signal the program finds ignored at its start, or 0. All others have their defaults.
        int ignoredSignal = 0;
        /// Descriptors of the test that become these streams, -1 for a pipe that the pump reads.
        int output = -1;
        int errors = -1;
        /// The largest file that the program may write.
        rlim_t fileSizeLimit = RLIM_INFINITY;
    };

    explicit ChildProcess(const std::vector<std::string>& arguments);
    /// \param arguments  the program, by path or as found in PATH, and its arguments
    ChildProcess(const std::vector<std::string>& arguments, const Options& options);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Adds \p text to what the pump writes to the program's standard input; never blocks.
    void Write(const std::string& text);

    /// Ends the standard input once all text is written. On a terminal, types the end-of-file key.
    void CloseInput();

    /// Waits until \p text appears after what the last WaitForOutput() found.
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

    /// Sends a signal; nothing when the program has ended.
    void Signal(int number);
    /// SIGSTOP, returns once the program is stopped; and SIGCONT.
    void Stop();
    void Continue();

    /// Closes the terminal that the program is on, as a window that is closed does.
    void HangUp();

private:
    struct Stream {
        Descriptor fd;
        std::string text;
        std::size_t found = 0;  ///< end of what was waited for
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
    std::size_t outputLimit;
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
