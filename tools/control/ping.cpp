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

std::optional<std::int64_t> MeasurePing(const std::string& name, std::int64_t limitUs, int& error)
{
    LinxIpc ipc("SubtitleMgrCtl");
    IpcMessage request;
    if (ipc.Init() != 0 || request.Allocate(messages::ping, 0, nullptr) != 0) {
        return std::nullopt;
    }
    const auto start = std::chrono::steady_clock::now();
    error = ipc.Request(name, request, messages::ReplyTo(messages::ping),
                        DeadlineIn(limitUs).RemainingMs(), nullptr);
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() -
                                                                 start)
        .count();
}

int Ping(const Options& options)
{
    int error = 0;
    const std::optional<std::int64_t> us = MeasurePing(options.name, options.timeoutUs, error);
    if (!us) {
        return Fail(words::exitNoService,
                    "the messaging endpoint cannot be opened; doctor has the reason");
    }
    if (error != 0) {
        const int status = error == ETIMEDOUT ? words::exitTimeRanOut
                           : error == EPROTO  ? words::exitFailed
                                              : words::exitNoService;
        return Fail(status, options.name + " does not answer a ping: " + std::strerror(error));
    }
    const std::string time = std::to_string(*us);
    return Print(options.json ? "{\"ok\":true,\"roundTripUs\":" + time + "}\n"
                              : options.name + " answered in " + time + " us\n");
}

}  // namespace control
