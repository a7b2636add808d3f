#include "bench/ping_client.h"

#include "platform/src/wire_format.h"

#include <stdexcept>

using namespace platform;

PingClient::PingClient()
{
    if (ipc.Init() != 0 || request.Allocate(messages::ping, 0, nullptr) != 0) {
        throw std::runtime_error("no endpoint can be made");
    }
}

void PingClient::RoundTrip(const std::string& service)
{
    if (ipc.Request(service, request, messages::ReplyTo(messages::ping), -1, nullptr) != 0) {
        throw std::runtime_error("a ping failed");
    }
}
