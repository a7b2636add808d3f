#include "platform/src/confirmed_request.h"

#include "platform/src/big_endian.h"
#include "platform/src/wire_format.h"

#include <IpcMessage.h>
#include <LinxIpc.h>

#include <cerrno>
#include <cstring>

using namespace platform;

int platform::MakeRequest(IpcMessage& message, unsigned int messageId,
                          std::initializer_list<unsigned int> numbers)
{
    const auto length = static_cast<unsigned int>(4 * numbers.size());
    if (const int error = message.Allocate(messageId, length, nullptr)) {
        return error;
    }
    unsigned char* to = message.Payload();
    for (const unsigned int number : numbers) {
        PutU32(to, number);
        to += 4;
    }
    return 0;
}

int platform::Confirmation(int error, IpcMessage& reply)
{
    return error != 0 ? error : IsAcceptance(reply.Payload()) ? 0 : EREMOTEIO;
}

int platform::ConfirmedRequest(LinxIpc& ipc, const std::string& server, IpcMessage& message,
                               unsigned int messageId, int timeoutMs)
{
    return Confirmation(
        ipc.Request(server, message, messages::ReplyTo(messageId), timeoutMs, &message), message);
}

int platform::ConfirmedRequest(LinxIpc& ipc, const std::string& server, IpcMessage& message,
                               unsigned int messageId, std::initializer_list<unsigned int> numbers,
                               int timeoutMs)
{
    const int error = MakeRequest(message, messageId, numbers);
    return error != 0 ? error : ConfirmedRequest(ipc, server, message, messageId, timeoutMs);
}

const char* platform::WhyRequestFailed(int error)
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
