#include "platform/src/endpoint.h"

#include "platform/src/log_sink.h"

#include <LinxIpc.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <new>
#include <optional>
#include <unistd.h>
#include <vector>

using namespace platform;

constexpr int roomLimitMs = 2000;
constexpr int pauseWithoutMemoryMs = 10;

/// \param waitMs  negative for ever
static void Sleep(int waitMs)
{
    if (waitMs >= 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(waitMs));
        return;
    }
    for (;;) {
        std::this_thread::sleep_for(std::chrono::hours(1));
    }
}

Endpoint::Endpoint(const char* endpointName, LinxIpc& ownerIpc)
    : name(endpointName), owner(ownerIpc), creator(getpid()), initResult(ENOTCONN)
{
}

Endpoint& Endpoint::Create(const char* name, LinxIpc& owner)
{
    // Kept reachable, so that a leak checker does not report them.
    static std::mutex& mutex = *new std::mutex;
    static std::vector<Endpoint*>& all = *new std::vector<Endpoint*>;
    const std::lock_guard<std::mutex> lock(mutex);
    all.push_back(new Endpoint(name, owner));
    return *all.back();
}

/// Runs one operation, which Close() waits for.
template <typename Operation>
int Endpoint::Enter(const Operation& operation)
{
    Lock lock(state.mutex);
    ++calls;
    const AtEnd leave([this] {
        --calls;
        if (state.closed) {
            state.changed.notify_all();
        }
    });
    try {
        return operation(lock);
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

template <typename Operation>
int Endpoint::Enter(const std::string& server, const IpcMessage& message,
                    const Operation& operation)
{
    return Enter([&](Lock& lock) {
        if (state.closed || initResult != 0) {
            return state.closed ? ESHUTDOWN : initResult;
        }
        const auto place = connections.lower_bound(server);
        const bool isKnown = place != connections.end() && place->first == server;
        if ((!isKnown && !IsEndpointName(server)) || !message.frame) {
            return EINVAL;
        }
        return operation(lock, connections.try_emplace(place, server, state, server)->second);
    });
}

int Endpoint::Init()
{
    return Enter([&](Lock& lock) {
        if (initResult != 0) {  // otherwise connections may be using the directory
            initResult = state.directory.Open();
        }
        const int result = initResult;
        if (result != 0) {
            LogUnlocked(lock, "endpoint " + name + ": " + state.directory.Problem());
        }
        return result;
    });
}

/// Prepares a change of the subscriptions before its request is sent.
/// \return false for a new subscription while there are some at another service
bool Endpoint::Prepare(const std::string& server, const Subscription& wanted)
{
    const bool isPublisher = state.publisher.empty() || state.publisher == server;
    if (isPublisher && wanted.ends) {
        state.subscriptions.End(wanted.number);
        state.notifications.Remove([this](const FrameHeader& header) {
            return state.subscriptions.Find(header.correlation, header.messageId) == nullptr;
        });
    } else if (isPublisher) {
        state.publisher = server;
    }
    return isPublisher || wanted.ends;
}

int Endpoint::Request(const std::string& server, IpcMessage& request, unsigned int replyId,
                      int waitMs, IpcMessage* reply, const Subscription* wanted)
{
    return Enter(server, request, [&](Lock& lock, Connection& connection) {
        if (wanted && !Prepare(server, *wanted)) {
            return EINVAL;
        }
        return connection.Request(lock, request, replyId, Deadline(waitMs), reply, wanted);
    });
}

int Endpoint::Notify(const std::string& server, IpcMessage& message, bool mayWait)
{
    return Enter(server, message, [&](Lock& lock, Connection& connection) {
        return connection.Notify(lock, message, Deadline(mayWait ? roomLimitMs : 0));
    });
}

int Endpoint::Receive(int waitMs, unsigned int id, const std::string& from, IpcMessage* message)
{
    LogHeldBack(false);
    bool isLate = false;
    const int error = Enter([&](Lock& lock) {
        isLate = state.closed;
        if (isLate || receiver != std::thread::id()) {
            return isLate ? ESHUTDOWN : EBUSY;
        }
        // The constant is compared by address: at the end of the process it may be destroyed.
        const bool isFromAny =
            &from == &LinxIpc::emptyString || from.empty() || from == state.publisher;
        return TakeNotification(lock, waitMs, id, isFromAny, message);
    });
    if (isLate) {
        Sleep(waitMs);
    } else if (error == ENOMEM) {
        // A thread that calls this in a loop would take a whole processor until there is memory.
        Sleep(waitMs < 0 ? pauseWithoutMemoryMs : std::min(waitMs, pauseWithoutMemoryMs));
    }
    return error;
}

int Endpoint::TakeNotification(Lock& lock, int waitMs, unsigned int id, bool isFromAny,
                               IpcMessage* message)
{
    receiver = std::this_thread::get_id();
    const AtEnd leave([this] { receiver = {}; });
    Show({});
    if (const unsigned int dropped = state.notifications.TakeDropped()) {
        LogUnlocked(lock,
                    "endpoint " + name + ": dropped " + std::to_string(dropped) +
                        " notifications that were not received in time",
                    "notifications dropped");
    }
    Subscription found{};
    int error = AwaitNotification(lock, waitMs, id, isFromAny, found);
    if (error == 0) {
        error = message ? CopyFrame(current, *message) : 0;
        Show(current);
        const auto unlocked = Unlocked(lock);
        found.callback(&owner, found.userData);
    }
    return error;
}

int Endpoint::AwaitNotification(Lock& lock, int waitMs, unsigned int id, bool isFromAny,
                                Subscription& found)
{
    // The clock is read only when none is queued.
    for (std::optional<Deadline> deadline;;) {
        if (state.closed) {
            return ESHUTDOWN;
        }
        while (isFromAny && state.notifications.Pop(id, current)) {
            const FrameHeader& header = current.header;
            // The subscription may have ended since the notification came.
            if (const Subscription* s =
                    state.subscriptions.Find(header.correlation, header.messageId)) {
                found = *s;
                return 0;
            }
        }
        if (!deadline) {
            deadline.emplace(waitMs);
        } else if (deadline->HasPassed()) {
            return ETIMEDOUT;
        }
        const auto publisher = connections.find(state.publisher);
        if (publisher == connections.end()) {
            state.WaitForChange(lock, *deadline);
        } else {
            publisher->second.AwaitArrival(lock, *deadline);
        }
    }
}

void Endpoint::Show(const ReceivedFrame& frame)
{
    current = frame;
    received.Show(frame.header.messageId, frame.payload, frame.header.length);
}

void Endpoint::Close()
{
    if (getpid() != creator) {
        return;
    }
    Lock lock(state.mutex);
    state.closed = true;
    for (auto& entry : connections) {
        entry.second.Lose();
    }
    state.changed.notify_all();
    const unsigned int own = receiver == std::this_thread::get_id() ? 1 : 0;
    while (calls > own) {
        state.changed.wait(lock);
    }
    connections.clear();
    state.directory = MessagingDirectory();  // closes its descriptor
    state.notifications.Clear();
    Show({});
    lock.unlock();
    LogHeldBack(true);
}
