#include "control/service.h"

#include "control/report.h"
#include "words/exit_status.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

namespace control {

int Print(const std::string& text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() &&
        std::fflush(stdout) == 0) {
        return words::exitDone;
    }
    return Fail(words::exitFailed, std::string("standard output: ") + std::strerror(errno));
}

int Fail(int status, const std::string& problem)
{
    std::cerr << "SubtitleMgrCtl: " << problem << std::endl;
    return status;
}

int Service::Ask(const std::string& line, std::int64_t waitUs, std::string& json, Value& answer)
{
    const std::int64_t limitUs = options.timeoutUs + waitUs;
    const platform::Deadline deadline = DeadlineIn(limitUs);
    std::string problem;
    if (!isConnected) {
        if (const int error = connection.Open(options.name, deadline, problem)) {
            isUsable = false;
            return Fail(error == ETIMEDOUT ? words::exitTimeRanOut : words::exitNoService, problem);
        }
        isConnected = true;
    }
    const Connection::Result result = connection.Ask(line, deadline, json);
    if (result != Connection::Result::Done) {
        return Lose(result, limitUs);
    }
    return ParseObject(json, answer)
               ? words::exitDone
               : Fail(words::exitFailed, "the answer of the service is not a JSON object");
}

int Service::Lose(Connection::Result result, std::int64_t limitUs)
{
    isUsable = false;
    switch (result) {
    case Connection::Result::TimedOut:
        return Fail(words::exitTimeRanOut, "the service has not answered within " +
                                               Seconds(static_cast<std::uint64_t>(limitUs)));
    case Connection::Result::Interrupted: isInterrupted = true; return words::exitDone;
    default:
        return Fail(words::exitNoService, "the service closed the connection without an answer");
    }
}

int StatusOf(const Value& answer)
{
    return answer["ok"].IsTrue()         ? words::exitDone
           : answer["timedOut"].IsTrue() ? words::exitTimeRanOut
                                         : words::exitFailed;
}

}  // namespace control
