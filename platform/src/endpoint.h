#pragma once

#include "platform/src/connection.h"
#include "platform/src/endpoint_state.h"

#include <IpcMessage.h>

#include <map>
#include <string>

class LinxIpc;

namespace platform {

/// What stands behind a LinxIpc: the same operations, on a state that is never freed.
///
/// At the end of the process a thread may go on calling Receive() on a LinxIpc that is already
/// destroyed. It then still finds this object, closed.
class Endpoint {
public:
    /// Makes an endpoint that lives as long as the process.
    static Endpoint& Create(const char* name, LinxIpc& owner);

    int Init();
    int Receive(int waitMs, unsigned int id, const std::string& from, IpcMessage* message);
    int Request(const std::string& server, IpcMessage& request, unsigned int replyId, int waitMs,
                IpcMessage* reply);
    int Notify(const std::string& server, IpcMessage& message, bool mayWait);
    IpcMessage& ReceivedMessage() { return received; }

    /// Takes the subscription into the table, so that the first notification finds it: that may
    /// come before the caller knows of the service's acceptance. EINVAL when other subscriptions
    /// are another service's.
    int BeginSubscription(const std::string& server, const Subscription& subscription);
    void SettleSubscription(unsigned int number, bool accepted);
    void EndSubscription(unsigned int number);

    /// Wakes every call, waits until the last has returned and closes all connections.
    void Close();

private:
    using Lock = EndpointState::Lock;

    /// Counts a call that Close() must wait for.
    class Call;

    Endpoint(const char* endpointName, LinxIpc& ownerIpc);
    int Usable(const std::string& server, const IpcMessage& message) const;
    Connection& ConnectionTo(const std::string& server);
    int AwaitNotification(Lock& lock, const Deadline& deadline, unsigned int id, bool isFromAnyone);
    void AwaitArrival(Lock& lock, const Deadline& deadline);
    void RunCallback(Lock& lock);
    void RemoveUnwanted();
    void LogDropped(Lock& lock);

    const std::string name;
    LinxIpc& owner;
    EndpointState state;
    int initResult;
    std::map<std::string, Connection> connections;
    unsigned int calls = 0;
    bool receiving = false;
    ReceivedFrame current{};  ///< what `received` shows
    IpcMessage received;
};

}  // namespace platform
