#include "platform/src/endpoint.h"

#include "platform/src/log_sink.h"

#include <LinxIpc.h>

#include <cerrno>
#include <chrono>
#include <new>
#include <thread>
#include <utility>
#include <vector>

namespace platform {

namespace {

constexpr auto reconnectInterval = std::chrono::milliseconds(500);
constexpr int roomLimitMs = 2000;
constexpr int pauseWithoutMemoryMs = 10;

/// A late Receive() of a thread that outlives its endpoint: out of the way, without spinning.
void SleepOut(int waitMs)
{
    if (waitMs >= 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(waitMs));
        return;
    }
    for (;;) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
}

/// Memory that cannot be had is an error like others: callers expect no exception. Within, one is
/// only ever thrown with the lock held.
template <typename Operation>
int OutOfMemoryAsError(const Operation& operation)
{
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

}  // namespace

class Endpoint::Call {
public:
    explicit Call(Endpoint& called) : endpoint(called) { ++endpoint.calls; }
    ~Call()
    {
        --endpoint.calls;
        if (endpoint.state.closed) {
            endpoint.state.changed.notify_all();
        }
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

private:
    Endpoint& endpoint;
};

Endpoint::Endpoint(const char* endpointName, LinxIpc& ownerIpc)
    : name(endpointName), owner(ownerIpc), initResult(ENOTCONN)
{
}

Endpoint& Endpoint::Create(const char* name, LinxIpc& owner)
{
    // Kept reachable, so that a leak checker knows that these are meant to stay.
    static std::mutex& mutex = *new std::mutex;
    static std::vector<Endpoint*>& all = *new std::vector<Endpoint*>;
    const std::lock_guard<std::mutex> lock(mutex);
    all.push_back(new Endpoint(name, owner));
    return *all.back();
}

int Endpoint::Init()
{
    Lock lock(state.mutex);
    if (initResult == 0) {
        return 0;  // connections may be using the directory
    }
    std::string entry;
    initResult = OutOfMemoryAsError([&] {
        const int result = state.directory.Open();
        entry = result == 0 ? "" : "endpoint " + name + ": " + state.directory.Problem();
        return result;
    });
    const int result = initResult;
    lock.unlock();
    LogFromLibrary(logErrors, entry);
    return result;
}

int Endpoint::Usable(const std::string& server, const IpcMessage& message) const
{
    if (state.closed) {
        return ESHUTDOWN;
    }
    if (initResult != 0) {
        return initResult;
    }
    return IsEndpointName(server) && message.frame ? 0 : EINVAL;
}

Connection& Endpoint::ConnectionTo(const std::string& server)
{
    return connections.try_emplace(server, state, server).first->second;
}

int Endpoint::Request(const std::string& server, IpcMessage& request, unsigned int replyId,
                      int waitMs, IpcMessage* reply)
{
    Lock lock(state.mutex);
    const Call call(*this);
    return OutOfMemoryAsError([&] {
        const int error = Usable(server, request);
        return error != 0
                   ? error
                   : ConnectionTo(server).Request(lock, request, replyId, Deadline(waitMs), reply);
    });
}

int Endpoint::Notify(const std::string& server, IpcMessage& message, bool mayWait)
{
    Lock lock(state.mutex);
    const Call call(*this);
    return OutOfMemoryAsError([&] {
        const int error = Usable(server, message);
        return error != 0 ? error
                          : ConnectionTo(server).Notify(lock, message,
                                                        Deadline(mayWait ? roomLimitMs : 0));
    });
}

int Endpoint::Receive(int waitMs, unsigned int id, const std::string& from, IpcMessage* message)
{
    Lock lock(state.mutex);
    if (state.closed) {
        lock.unlock();
        SleepOut(waitMs);
        return ESHUTDOWN;
    }
    if (receiving) {
        return EBUSY;
    }
    const Call call(*this);
    receiving = true;
    received.Show(0, nullptr, 0);
    current = ReceivedFrame{};
    LogDropped(lock);
    // The constant itself is not looked into: at the end of the process it may be gone already.
    const bool isFromAnyone =
        &from == &LinxIpc::emptyString || from.empty() || from == state.publisher;
    const Deadline deadline(waitMs);
    int error =
        OutOfMemoryAsError([&] { return AwaitNotification(lock, deadline, id, isFromAnyone); });
    if (error == 0) {
        error = message ? CopyFrame(current, *message) : 0;
        RunCallback(lock);
    } else if (error == ENOMEM) {
        // Whoever calls this in a loop would take a whole processor until there is memory again.
        state.WaitForChange(lock, deadline.Sooner(Deadline(pauseWithoutMemoryMs).At()));
    }
    receiving = false;
    return error;
}

int Endpoint::AwaitNotification(Lock& lock, const Deadline& deadline, unsigned int id,
                                bool isFromAnyone)
{
    for (bool hasLooked = false;; hasLooked = true) {
        if (state.closed) {
            return ESHUTDOWN;
        }
        if (isFromAnyone && state.notifications.Pop(id, current)) {
            return 0;
        }
        if (hasLooked && deadline.HasPassed()) {
            return ETIMEDOUT;
        }
        AwaitArrival(lock, deadline);
    }
}

/// Waits for something to happen on the connection that notifications come from, and makes that
/// connection again when it was lost.
void Endpoint::AwaitArrival(Lock& lock, const Deadline& deadline)
{
    const auto publisher = connections.find(state.publisher);
    // An open connection is read even with nothing subscribed: the service may have accepted what
    // was given up waiting for, and a client that does not read makes it wait.
    if (publisher == connections.end() ||
        (!publisher->second.IsOpen() && !state.subscriptions.HasAccepted())) {
        state.WaitForChange(lock, deadline);
        return;
    }
    Connection& connection = publisher->second;
    if (connection.IsOpen()) {
        if (connection.IsBeingRead()) {
            state.WaitForChange(lock, deadline);
        } else {
            connection.Read(lock, deadline.RemainingMs());
        }
        return;
    }
    const auto nextAttempt = connection.LastAttempt() + reconnectInterval;
    if (Deadline::Clock::now() >= nextAttempt) {
        connection.Open(lock, deadline);
    } else {
        state.WaitForChange(lock, deadline.Sooner(nextAttempt));
    }
}

void Endpoint::RunCallback(Lock& lock)
{
    const FrameHeader& header = current.header;
    received.Show(header.messageId, current.payload, header.length);
    const Subscription subscription =
        *state.subscriptions.Find(header.correlation, header.messageId);
    lock.unlock();
    try {
        subscription.callback(&owner, subscription.userData);
    } catch (const std::bad_alloc&) {  // that notification is lost, not the thread
    }
    lock.lock();
}

void Endpoint::LogDropped(Lock& lock)
{
    const unsigned int dropped = state.notifications.TakeDropped();
    if (dropped == 0) {
        return;
    }
    std::string entry;
    OutOfMemoryAsError([&] {
        entry = "endpoint " + name + ": dropped " + std::to_string(dropped) +
                " notifications that nobody received in time";
        return 0;
    });
    lock.unlock();
    LogFromLibrary(logErrors, entry);
    lock.lock();
}

int Endpoint::BeginSubscription(const std::string& server, const Subscription& subscription)
{
    const Lock lock(state.mutex);
    if (!state.publisher.empty() && state.publisher != server) {
        return EINVAL;
    }
    return OutOfMemoryAsError([&] {
        state.publisher = server;
        state.subscriptions.Add(subscription);
        return 0;
    });
}

void Endpoint::SettleSubscription(unsigned int number, bool accepted)
{
    const Lock lock(state.mutex);
    state.subscriptions.Settle(number, accepted);
    RemoveUnwanted();
    state.changed.notify_all();
}

void Endpoint::EndSubscription(unsigned int number)
{
    const Lock lock(state.mutex);
    state.subscriptions.Remove(number);
    RemoveUnwanted();
}

/// Whatever is queued has a subscription.
void Endpoint::RemoveUnwanted()
{
    state.notifications.Remove([this](const FrameHeader& header) {
        return state.subscriptions.Find(header.correlation, header.messageId) == nullptr;
    });
}

void Endpoint::Close()
{
    Lock lock(state.mutex);
    state.closed = true;
    for (auto& entry : connections) {
        entry.second.Shutdown();
    }
    state.changed.notify_all();
    while (calls > 0) {
        state.changed.wait(lock);
    }
    connections.clear();
    state.directory = MessagingDirectory();  // its descriptor; the rest may stay
    state.notifications.Clear();
    current = ReceivedFrame{};
    received.Show(0, nullptr, 0);
}

}  // namespace platform
