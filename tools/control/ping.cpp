#include "control/ping.h"

#include "control/connection.h"
#include "control/report.h"
#include "control/service.h"
#include "platform/src/wire_format.h"
#include "words/exit_status.h"

#include <LinxIpc.h>

#include <cerrno>
#include <chrono>
#include <cstring>

using namespace platform;

namespace control {

int Ping(const Options& options)
{
    LinxIpc ipc("SubtitleMgrCtl");
    IpcMessage request;
    if (ipc.Init() != 0 || request.Allocate(messages::ping, 0, nullptr) != 0) {
        return Fail(words::exitNoService,
                    "the messaging endpoint cannot be opened; the log has the reason");
    }
    const auto start = std::chrono::steady_clock::now();
    const int error = ipc.Request(options.name, request, messages::ReplyTo(messages::ping),
                                  DeadlineIn(options.timeoutUs).RemainingMs(), nullptr);
    const auto us = std::chrono::duration_cast<std::chrono::microseconds>(
                        std::chrono::steady_clock::now() - start)
                        .count();
    if (error != 0) {
        const int status = error == ETIMEDOUT ? words::exitTimeRanOut
                           : error == EPROTO  ? words::exitFailed
                                              : words::exitNoService;
        return Fail(status, options.name + " does not answer a ping: " + std::strerror(error));
    }
    return Print(options.json ? "{\"ok\":true,\"roundTripUs\":" + std::to_string(us) + "}\n"
                              : options.name + " answered in " + std::to_string(us) + " us\n");
}

}  // namespace control
