#include "tests/harness/ChildProcess.h"

#include "tests/harness/build_kind.h"
#include "tests/harness/text_compare.h"
#include "tests/harness/wait_limits.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace {

/// A program that prints more on one stream is killed: a console at the end of its input prints for
/// ever.
constexpr std::size_t outputLimit = 64u * 1024u * 1024u;

[[noreturn]] void ThrowErrno(const std::string& what)
{
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

/// Both ends of a standard stream of the program.
struct StreamEnds {
    Descriptor ours;
    Descriptor programs;
};

StreamEnds MakePipe(bool programReads)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        ThrowErrno("pipe2");
    }
    StreamEnds made{Descriptor(ends[programReads ? 1 : 0]), Descriptor(ends[programReads ? 0 : 1])};
    fcntl(made.ours.Get(), F_SETFL, O_NONBLOCK);
    return made;
}

StreamEnds MakeTerminal()
{
    StreamEnds made{Descriptor(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)), Descriptor()};
    if (!made.ours || grantpt(made.ours.Get()) != 0 || unlockpt(made.ours.Get()) != 0) {
        ThrowErrno("posix_openpt");
    }
    made.programs = Descriptor(open(ptsname(made.ours.Get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!made.programs) {
        ThrowErrno("open the program's end of the terminal");
    }
    fcntl(made.ours.Get(), F_SETFL, O_NONBLOCK);
    return made;
}

std::vector<std::string> EnvironmentWith(const std::map<std::string, std::string>& changes)
{
    std::vector<std::string> entries;
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        if (changes.count(text.substr(0, text.find('='))) == 0) {
            entries.push_back(text);
        }
    }
    for (const auto& [name, value] : changes) {
        if (!value.empty()) {
            entries.push_back(name + "=" + value);
        }
    }
    return entries;
}

std::vector<char*> Pointers(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// Between fork and exec only calls that take no lock: the test may have other threads.
void BecomeProgram(char* const* arguments, char* const* environment, const int (&streams)[3],
                   const ChildProcess::Options& options, pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(127);
    }
    if (options.onTerminal) {
        setsid();
        ioctl(streams[0], TIOCSCTTY, 0);
    }
    for (int number = 0; number < 3; ++number) {
        dup2(streams[number], number);
    }
    // The caller of the tests may ignore or block signals, and the program would inherit both.
    for (int number = 1; number < NSIG; ++number) {
        signal(number, number == options.ignoredSignal ? SIG_IGN : SIG_DFL);
    }
    const rlimit limit{options.fileSizeLimit, RLIM_INFINITY};
    if (options.fileSizeLimit != RLIM_INFINITY) {
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execvpe(arguments[0], arguments, environment);
    _exit(127);
}

/// The last five lines, of 1000 bytes at most.
std::string Tail(const std::string& text)
{
    std::size_t begin = text.size();
    for (int lines = 0; begin > 0 && text.size() - begin < 1000; --begin) {
        lines += begin < text.size() && text[begin - 1] == '\n' ? 1 : 0;
        if (lines == 5) {
            break;
        }
    }
    return (begin > 0 ? "[...]\n" : "") + VisibleText(text.substr(begin));
}

std::chrono::steady_clock::time_point DeadlineFromNow()
{
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(eventDeadlineMs);
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments)
    : ChildProcess(arguments, Options())
{
}

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const Options& options)
    : programName(arguments.front()), onTerminal(options.onTerminal),
      wakeFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    StartProgram(arguments, options);
    pump = std::thread([this] { Pump(); });
}

ChildProcess::~ChildProcess()
{
    Signal(SIGKILL);
    {
        const std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    Wake();
    pump.join();
    if (!exited) {
        waitpid(pid, nullptr, 0);
    }
}

void ChildProcess::StartProgram(const std::vector<std::string>& arguments, const Options& options)
{
    StreamEnds input;
    StreamEnds out;
    StreamEnds err;
    if (onTerminal) {
        input = MakeTerminal();
        out.ours = Descriptor(fcntl(input.ours.Get(), F_DUPFD_CLOEXEC, 0));
        errors.ended = true;
    } else {
        input = MakePipe(true);
        out = MakePipe(false);
        err = MakePipe(false);
        output.ended = options.output >= 0;
        errors.ended = options.errors >= 0;
    }
    const int terminal = input.programs.Get();
    int streams[3] = {terminal, onTerminal ? terminal : out.programs.Get(),
                      onTerminal ? terminal : err.programs.Get()};
    streams[1] = options.output >= 0 ? options.output : streams[1];
    streams[2] = options.errors >= 0 ? options.errors : streams[2];
    std::vector<std::string> words = arguments;
    std::vector<std::string> variables = EnvironmentWith(options.environment);
    const std::vector<char*> argv = Pointers(words);
    const std::vector<char*> envp = Pointers(variables);
    const pid_t parent = getpid();
    pid = fork();
    if (pid == 0) {
        BecomeProgram(argv.data(), envp.data(), streams, options, parent);
    }
    if (pid < 0) {
        ThrowErrno("fork");
    }
    // The header of this C library does not declare pidfd_open() as a C function.
    pidFd = Descriptor(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    inputFd = std::move(input.ours);
    output.fd = std::move(out.ours);
    errors.fd = std::move(err.ours);
}

void ChildProcess::Pump()
{
    // A program that stopped reading must not end the test: SIGPIPE stays pending in this thread.
    sigset_t brokenPipe;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);

    std::unique_lock<std::mutex> lock(mutex);
    while (!stopping && !(exited && output.ended && errors.ended)) {
        pollfd waits[5] = {{wakeFd.Get(), POLLIN, 0},
                           {exited ? -1 : pidFd.Get(), POLLIN, 0},
                           {output.ended ? -1 : output.fd.Get(), POLLIN, 0},
                           {errors.ended ? -1 : errors.fd.Get(), POLLIN, 0},
                           {unwritten.empty() ? -1 : inputFd.Get(), POLLOUT, 0}};
        lock.unlock();
        poll(waits, 5, -1);
        lock.lock();
        if (waits[0].revents) {
            eventfd_t count;
            eventfd_read(wakeFd.Get(), &count);
        }
        if (waits[1].revents) {
            NoteExit();
        }
        if (waits[2].revents) {
            ReadSome(output);
        }
        if (waits[3].revents) {
            ReadSome(errors);
        }
        if (waits[4].revents) {
            WriteSome();
        }
        if (inputCloses && unwritten.empty()) {
            inputFd = Descriptor();
        }
        changed.notify_all();
    }
}

void ChildProcess::ReadSome(Stream& stream)
{
    char bytes[65536];
    const ssize_t count = read(stream.fd.Get(), bytes, sizeof bytes);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (count <= 0) {  // a terminal returns EIO after its last program has ended
        stream.ended = true;
        return;
    }
    stream.text.append(bytes, static_cast<std::size_t>(count));
    if (stream.text.size() > outputLimit) {
        stream.text.resize(outputLimit);
        Kill(SIGKILL);
    }
}

void ChildProcess::WriteSome()
{
    const ssize_t count = write(inputFd.Get(), unwritten.data(), unwritten.size());
    if (count >= 0) {
        unwritten.erase(0, static_cast<std::size_t>(count));
    } else if (errno != EAGAIN && errno != EINTR) {
        unwritten.clear();
    }
}

void ChildProcess::NoteExit()
{
    int status = 0;
    if (waitpid(pid, &status, WNOHANG) == pid) {
        exited = true;
        exitStatus = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }
}

void ChildProcess::Wake() { eventfd_write(wakeFd.Get(), 1); }

void ChildProcess::Write(const std::string& text)
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        unwritten += text;
    }
    Wake();
}

void ChildProcess::CloseInput()
{
    if (onTerminal) {
        Write("\x04");
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(mutex);
        inputCloses = true;
    }
    Wake();
}

void ChildProcess::WaitForOutput(const std::string& text) { WaitForText(output, text); }
void ChildProcess::WaitForErrors(const std::string& text) { WaitForText(errors, text); }

void ChildProcess::WaitForText(Stream& stream, const std::string& text)
{
    const auto deadline = DeadlineFromNow();
    std::unique_lock<std::mutex> lock(mutex);
    std::size_t searchFrom = stream.found;
    std::size_t at = std::string::npos;
    changed.wait_until(lock, deadline, [&] {
        at = stream.text.find(text, searchFrom);
        const std::size_t size = stream.text.size();
        searchFrom = std::max(stream.found, size < text.size() ? 0 : size - text.size());
        return at != std::string::npos || stream.ended;
    });
    if (at == std::string::npos) {
        const char* where = &stream == &output ? "standard output" : "standard error";
        lock.unlock();
        Fail("did not print \"" + VisibleText(text) + "\" on " + where);
    }
    stream.found = at + text.size();
}

int ChildProcess::WaitForExit()
{
    const auto deadline = DeadlineFromNow();
    std::unique_lock<std::mutex> lock(mutex);
    if (!changed.wait_until(lock, deadline,
                            [this] { return exited && output.ended && errors.ended; })) {
        lock.unlock();
        Fail("did not end");
    }
    return exitStatus;
}

std::string ChildProcess::Output() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return output.text;
}

std::string ChildProcess::Errors() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return errors.text;
}

bool ChildProcess::IsRunning() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return !exited;
}

int ChildProcess::CountThreads() const
{
    const std::filesystem::directory_iterator tasks("/proc/" + std::to_string(pid) + "/task");
    return static_cast<int>(std::distance(begin(tasks), end(tasks))) - threadsOfTheBuild;
}

void ChildProcess::Signal(int number)
{
    const std::lock_guard<std::mutex> lock(mutex);
    Kill(number);
}

void ChildProcess::Kill(int number)
{
    if (!exited) {
        kill(pid, number);
    }
}

void ChildProcess::Stop()
{
    Signal(SIGSTOP);
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(pid), &info, WSTOPPED);
}

void ChildProcess::Continue() { Signal(SIGCONT); }

void ChildProcess::HangUp()
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        inputFd = Descriptor();
        output.fd = Descriptor();
        output.ended = true;
    }
    Wake();
}

void ChildProcess::Fail(const std::string& what) const
{
    const std::lock_guard<std::mutex> lock(mutex);
    const std::string state = exited ? "ended with " + std::to_string(exitStatus) : "still running";
    throw std::runtime_error(programName + " (" + state + "): " + what + "\n--- standard output\n" +
                             Tail(output.text) + "\n--- standard error\n" + Tail(errors.text));
}
