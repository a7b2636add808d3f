#include <SubscribeClient.h>

#include "platform/src/confirmed_request.h"
#include "platform/src/endpoint.h"

#include <IpcMessage.h>
#include <LinxIpc.h>

using namespace platform;

/// The reply takes the memory of the request: nothing fails after the service has accepted.
static int Change(Endpoint& endpoint, const std::string& server, unsigned int messageId,
                  std::initializer_list<unsigned int> numbers, int timeoutMs,
                  const Subscription& wanted)
{
    IpcMessage message;
    int error = MakeRequest(message, messageId, numbers);
    if (error == 0) {
        error = endpoint.Request(server, message, messages::ReplyTo(messageId), timeoutMs, &message,
                                 &wanted);
    }
    return Confirmation(error, message);
}

SubscribeClient::SubscribeClient(LinxIpc& endpoint, const std::string& service,
                                 int requestTimeoutMs)
    : ipc(endpoint), server(service), timeoutMs(requestTimeoutMs)
{
}

int SubscribeClient::Subscribe(unsigned subscription, unsigned itemId, Item&,
                               void (*callback)(LinxIpc*, void*), void* userData)
{
    return Change(ipc.endpoint, server, messages::subscribe, {subscription, itemId}, timeoutMs,
                  {subscription, itemId, callback, userData});
}

int SubscribeClient::Unsubscribe(unsigned subscription)
{
    return Change(ipc.endpoint, server, messages::unsubscribe, {subscription}, timeoutMs,
                  {subscription, 0, nullptr, nullptr, /*ends*/ true});
}
