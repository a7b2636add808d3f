#include "platform/src/confirmed_request.h"

#include "platform/src/big_endian.h"
#include "platform/src/wire_format.h"

#include <IpcMessage.h>
#include <LinxIpc.h>

#include <cerrno>
#include <cstring>

namespace platform {

int ConfirmedRequest(LinxIpc& ipc, const std::string& server, IpcMessage& request,
                     unsigned int messageId, int timeoutMs, IpcMessage* reply)
{
    IpcMessage confirmation;
    IpcMessage& answer = reply ? *reply : confirmation;
    const int error =
        ipc.Request(server, request, messages::ReplyTo(messageId), timeoutMs, &answer);
    if (error != 0) {
        return error;
    }
    const bool isAccepted = GetU32(answer.Payload()) == static_cast<unsigned int>(Result::Accepted);
    return isAccepted ? 0 : EREMOTEIO;
}

const char* WhyRequestFailed(int error)
{
    switch (error) {
    case ENOENT:
    case ECONNREFUSED: return "no such service is running";
    case ECONNRESET:
    case EPIPE: return "the service closed the connection";
    case EREMOTEIO: return "the service refused it";
    case ETIMEDOUT: return "the service did not answer";
    case EPROTO: return "the service did not understand it";
    default: return std::strerror(error);
    }
}

}  // namespace platform
