#include <SubscribeClient.h>

#include "platform/src/big_endian.h"
#include "platform/src/confirmed_request.h"
#include "platform/src/endpoint.h"

#include <IpcMessage.h>
#include <LinxIpc.h>

using namespace platform;

SubscribeClient::SubscribeClient(LinxIpc& endpoint, const std::string& service,
                                 int requestTimeoutMs)
    : ipc(endpoint), server(service), timeoutMs(requestTimeoutMs)
{
}

int SubscribeClient::Subscribe(unsigned subscription, unsigned itemId, Item&,
                               void (*callback)(LinxIpc*, void*), void* userData)
{
    IpcMessage request;
    int error = request.Allocate(messages::subscribe, 8, nullptr);
    if (error != 0) {
        return error;
    }
    PutU32(request.Payload(), subscription);
    PutU32(request.Payload() + 4, itemId);
    error = ipc.endpoint.BeginSubscription(
        server, {subscription, itemId, callback, userData, /*accepted*/ false});
    if (error != 0) {
        return error;
    }
    error = ConfirmedRequest(ipc, server, request, messages::subscribe, timeoutMs);
    ipc.endpoint.SettleSubscription(subscription, error == 0);
    return error;
}

int SubscribeClient::Unsubscribe(unsigned subscription)
{
    ipc.endpoint.EndSubscription(subscription);
    IpcMessage request;
    const int error = request.Allocate(messages::unsubscribe, 4, nullptr);
    if (error != 0) {
        return error;
    }
    PutU32(request.Payload(), subscription);
    return ConfirmedRequest(ipc, server, request, messages::unsubscribe, timeoutMs);
}
