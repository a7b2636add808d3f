// What the command doctor finds out about the socket, the lock and the answers of a service.

#include "control/doctor.h"

#include "control/connection.h"
#include "control/json_value.h"
#include "control/ping.h"
#include "control/process.h"
#include "control/report.h"
#include "platform/src/messaging_directory.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace platform;

namespace control {

namespace {

/// A service reaches its folder through a descriptor, and its control socket has the longest name.
constexpr std::size_t longestName =
    sizeof sockaddr_un::sun_path - sizeof "/proc/self/fd/3/.control";

class Examination {
public:
    Examination(const MessagingDirectory& directoryToUse, const Options& options)
        : directory(directoryToUse), name(options.name), limitUs(options.timeoutUs),
          path(directory.Path() + "/" + name)
    {
    }

    std::vector<Finding> Run()
    {
        if (name.substr(name.rfind('/') + 1).size() > longestName) {
            Add("service", "its name is too long for a socket", Control("doctor", "SubtitleMgr"));
            return findings;
        }
        ExamineLock();
        AskForFaults();
        int error = ENOMEM;
        const std::optional<std::int64_t> us = MeasurePing(name, limitUs, error);
        if (error != 0) {
            ExplainSilence(error);
        } else {
            Add("service", "answers in " + std::to_string(*us) + " us", "");
            ExamineControl();
            ExamineFaults();
        }
        return findings;
    }

private:
    void Add(const char* check, const std::string& text, const std::string& repair)
    {
        findings.push_back({check, std::string(check) + " " + name + ": " + text, repair});
    }

    std::string Option(const std::string& service) const
    {
        return service == "SubtitleMgr" ? "" : " --name " + ShellWord(service);
    }

    std::string Control(const char* command, const std::string& service) const
    {
        return "SubtitleMgrCtl" + Option(service) + " " + command;
    }

    void ExamineLock()
    {
        const std::string file = path + ".lock";
        const Descriptor opened(open(file.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        struct stat found {};
        hasLock = lstat(file.c_str(), &found) == 0;
        if (hasLock && (!opened || !S_ISREG(found.st_mode))) {
            Add("lock", "its file cannot be locked, so no service can start", MoveAway(file));
        } else if (hasLock && (holder = HolderOf(found))) {
            Add("lock", "held by " + holder.Text(), "");
        }
    }

    void AskForFaults()
    {
        Connection connection;
        const Deadline deadline = DeadlineIn(limitUs);
        std::string answer;
        if (connection.Open(name, deadline, controlProblem) == 0) {
            const auto result = connection.Ask("faults", deadline, answer);
            controlProblem = result == Connection::Result::Done ? "" : "does not answer";
        }
        Value value;
        if (controlProblem.empty() && ParseObject(answer, value)) {
            for (const Value& fault : value["faults"].items) {
                faults += (faults.empty() ? "" : ", ") + fault["fault"].text;
            }
        }
    }

    void ExplainSilence(int error)
    {
        switch (error) {
        case ENOENT: ExplainMissingSocket(); break;
        case ECONNREFUSED: ExplainStaleSocket(); break;
        case EACCES:
        case ELOOP:
        case ENOTDIR:
        case ENOTSOCK: ExplainObstacle(error); break;
        default: ExplainPeer(error);
        }
    }

    void ExplainMissingSocket()
    {
        const std::string other = OtherDirectory();
        if (holder) {
            Add("service", holder.Text() + " has lost its socket", Kill(holder));
        } else if (!other.empty()) {
            Add("service", "its socket is in " + other, "export LINX_DIR=" + ShellWord(other));
        } else {
            Add("service", "does not run", Start());
        }
    }

    void ExplainStaleSocket()
    {
        if (holder) {
            Add("service", holder.Text() + " does not listen", Kill(holder));
        } else if (hasLock) {
            Add("service", "was killed, and its socket remains", Start());
        } else {
            Add("service", "its socket is left by a program that has ended, such as ssh",
                "rm " + ShellWord(path));
        }
    }

    /// A file that is no socket or no folder, or a socket of another user.
    void ExplainObstacle(int error)
    {
        std::string part = directory.Path();
        std::size_t end = part.size();
        do {
            end = path.find('/', end + 1);
            part = path.substr(0, end);
        } while (end != std::string::npos && std::filesystem::is_directory(part) &&
                 !std::filesystem::is_symlink(part) && access(part.c_str(), X_OK) == 0);
        const char* const reason = error == EACCES     ? "not accessible, or another user's"
                                   : error == ENOTSOCK ? "not a socket"
                                                       : "not a folder";
        Add("service", part + " is " + reason, MoveAway(part));
    }

    /// A program has the socket, but does not answer a ping.
    void ExplainPeer(int error)
    {
        const Process peer = Peer();
        const Process process = peer ? peer : holder;
        if (process.isStopped) {
            Add("service", process.Text() + " is stopped",
                "kill -CONT " + std::to_string(process.id));
        } else if (process.name == "ssh") {
            Add("service", process.Text() + " forwards to a service that does not answer",
                Kill(process) + "; rm -f " + ShellWord(path));
        } else if (!faults.empty()) {
            ExamineFaults();
        } else {
            Add("service", process.Text() + Silence(error),
                process ? "kill -KILL " + std::to_string(process.id) : "rm " + ShellWord(path));
        }
    }

    std::string Silence(int error) const
    {
        switch (error) {
        case ETIMEDOUT:
            return " does not answer within " + Seconds(static_cast<std::uint64_t>(limitUs));
        case ECONNRESET:
        case EPIPE: return " closes the connection";
        default: return std::string(" gives no answer: ") + std::strerror(error);
        }
    }

    /// Forwarded sockets have no control socket, and devices neither.
    void ExamineControl()
    {
        const bool exists = access((path + ".control").c_str(), F_OK) == 0;
        if (controlProblem.empty()) {
            Add("control socket", "answers", "");
        } else if (holder) {
            Add("control socket", controlProblem, Kill(holder));
        } else if (exists) {
            Add("control socket", controlProblem, "rm " + ShellWord(path + ".control"));
        }
    }

    void ExamineFaults()
    {
        if (!faults.empty()) {
            Add("service", "has faults on purpose: " + faults, Control("no-fault", name));
        }
    }

    std::string Start() const { return "SubtitleMgrSim" + Option(name) + " --quiet &"; }

    static std::string Kill(const Process& process) { return "kill " + std::to_string(process.id); }

    Process Peer() const
    {
        Descriptor fd;
        ucred peer{};
        socklen_t size = sizeof peer;
        return directory.Connect(name, DeadlineIn(limitUs), fd) == 0 &&
                       getsockopt(fd.Get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0
                   ? ProcessOf(peer.pid)
                   : Process();
    }

    /// Another directory that programs use by default and that has the socket.
    std::string OtherDirectory() const
    {
        const char* const run = secure_getenv("XDG_RUNTIME_DIR");
        const std::string usual[] = {(run ? std::string(run) : "") + "/linx",
                                     "/tmp/linx-" + std::to_string(geteuid())};
        for (const std::string& other : usual) {
            std::error_code error;
            if (other != directory.Path() &&
                std::filesystem::is_socket(other + "/" + name, error)) {
                return other;
            }
        }
        return "";
    }

    const MessagingDirectory& directory;
    const std::string name;
    const std::int64_t limitUs;
    const std::string path;  ///< of the socket
    bool hasLock = false;
    Process holder;  ///< of the lock
    std::string faults;
    std::string controlProblem;  ///< empty if the control socket answers
    std::vector<Finding> findings;
};

}  // namespace

std::vector<Finding> ExamineService(const MessagingDirectory& directory, const Options& options)
{
    return Examination(directory, options).Run();
}

}  // namespace control
