#include "control/connection.h"

#include "platform/src/messaging_directory.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>

using namespace platform;

namespace control {

Deadline DeadlineIn(std::int64_t us)
{
    return Deadline(static_cast<int>(std::min<std::int64_t>((us + 999) / 1000, INT_MAX)));
}

int Connection::Open(const std::string& name, const Deadline& deadline, std::string& problem)
{
    received.clear();
    MessagingDirectory directory;
    int error = directory.Open();
    problem = directory.Problem();
    if (error == 0) {
        error = directory.Connect(name + ".control", deadline, fd);
        problem = "no service at " + directory.Path() + "/" + name +
                  ".control: " + (error == EACCES ? "another user's" : std::strerror(error));
    }
    return error;
}

Connection::Result Connection::Ask(const std::string& line, const Deadline& deadline,
                                   std::string& answer)
{
    const Result sent = Send(line + '\n', deadline);
    return sent == Result::Done ? Receive(deadline, answer) : sent;
}

Connection::Result Connection::WaitFor(short events, const Deadline& deadline) const
{
    for (;;) {
        pollfd waited[] = {{fd.Get(), events, 0}, {interruptFd, POLLIN, 0}};
        const int ready = poll(waited, 2, deadline.RemainingMs());
        if (waited[1].revents != 0) {
            return Result::Interrupted;
        }
        if (ready > 0) {
            return Result::Done;
        }
        if (deadline.HasPassed()) {
            return Result::TimedOut;
        }
    }
}

Connection::Result Connection::Send(const std::string& line, const Deadline& deadline) const
{
    for (std::size_t at = 0; at < line.size();) {
        const ssize_t count =
            send(fd.Get(), &line[at], line.size() - at, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0) {
            at += static_cast<std::size_t>(count);
        } else if (errno != EAGAIN && errno != EINTR) {
            return Result::Closed;
        } else if (const Result waited = WaitFor(POLLOUT, deadline); waited != Result::Done) {
            return waited;
        }
    }
    return Result::Done;
}

Connection::Result Connection::Receive(const Deadline& deadline, std::string& answer)
{
    std::size_t end;
    for (std::size_t begin = 0; (end = received.find('\n', begin)) == std::string::npos;) {
        begin = received.size();
        if (const Result waited = WaitFor(POLLIN, deadline); waited != Result::Done) {
            return waited;
        }
        char bytes[4096];
        const ssize_t count = recv(fd.Get(), bytes, sizeof bytes, MSG_DONTWAIT);
        if (count > 0) {
            received.append(bytes, static_cast<std::size_t>(count));
        } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
            return Result::Closed;
        }
    }
    answer = received.substr(0, end);
    received.erase(0, end + 1);
    return Result::Done;
}

}  // namespace control
