#pragma once

#include "platform/src/connection.h"

#include <IpcMessage.h>

#include <map>
#include <string>
#include <thread>

class LinxIpc;

namespace platform {

/// The inside of a LinxIpc: the same operations, on a state that is never freed. At the end of the
/// process a thread may call Receive() on a destroyed LinxIpc, and then finds this closed.
///
/// The boundary for memory: std::bad_alloc from below, or from a callback, becomes ENOMEM here.
class Endpoint {
public:
    static Endpoint& Create(const char* name, LinxIpc& owner);

    int Init();
    int Receive(int waitMs, unsigned int id, const std::string& from, IpcMessage* message);
    int Notify(const std::string& server, IpcMessage& message, bool mayWait);
    IpcMessage& ReceivedMessage() { return received; }

    /// \param wanted  the change of the subscriptions if the service accepts; may be null
    int Request(const std::string& server, IpcMessage& request, unsigned int replyId, int waitMs,
                IpcMessage* reply, const Subscription* wanted = nullptr);

    /// Wakes every call, waits until the last has returned and closes all connections. Does not
    /// wait for a callback that ends the process itself, and does nothing in a forked child:
    /// connections and lock are its parent's.
    void Close();

private:
    Endpoint(const char* endpointName, LinxIpc& ownerIpc);
    template <typename Operation>
    int Enter(const Operation& operation);
    template <typename Operation>
    int Enter(const std::string& server, const IpcMessage& message, const Operation& operation);
    bool Prepare(const std::string& server, const Subscription& wanted);
    int TakeNotification(Lock& lock, int waitMs, unsigned int id, bool isFromAny,
                         IpcMessage* message);
    int AwaitNotification(Lock& lock, int waitMs, unsigned int id, bool isFromAny,
                          Subscription& found);
    void Show(const ReceivedFrame& frame);

    const std::string name;
    LinxIpc& owner;
    const int creator;  ///< its process id
    EndpointState state;
    int initResult;
    std::map<std::string, Connection> connections;
    unsigned int calls = 0;    ///< running calls, for which Close() waits
    std::thread::id receiver;  ///< the thread inside Receive(); none when there is none
    ReceivedFrame current{};   ///< what `received` shows
    IpcMessage received;
};

}  // namespace platform
