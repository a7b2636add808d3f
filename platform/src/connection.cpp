#include "platform/src/connection.h"

#include "platform/src/big_endian.h"
#include "platform/src/log_sink.h"

#include <IpcMessage.h>

#include <cerrno>
#include <new>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <utility>

namespace platform {

namespace {

/// Connecting waits for a service that is stopped, so also a request without limit ends then.
constexpr int connectLimitMs = 1000;

/// While another call reads, a full socket is looked at again this often: when that call ends it
/// falls to the sender to read.
constexpr int roomSliceMs = 10;

/// The end of a closed connection is reached at once, unless its other side is only half gone.
constexpr int restLimitMs = 100;

bool IsLoss(int error) { return error == EPIPE || error == ECONNRESET; }

Deadline Sooner(const Deadline& deadline, int limitMs)
{
    return deadline.Sooner(Deadline(limitMs).At());
}

}  // namespace

Connection::Connection(EndpointState& endpointState, const std::string& serviceName)
    : state(endpointState), service(serviceName), arrivals(endpointState, serviceName, replies)
{
}

int Connection::Open(Lock& lock, const Deadline& deadline)
{
    while (!socket) {
        if (state.closed) {
            return ESHUTDOWN;
        }
        if (reading || sending) {
            if (!state.WaitForChange(lock, deadline)) {
                return ETIMEDOUT;
            }
            continue;
        }
        reading = sending = true;
        lastAttempt = Deadline::Clock::now();
        lock.unlock();
        Descriptor connected;
        const int error = Connect(Sooner(deadline, connectLimitMs), connected);
        lock.lock();
        reading = sending = false;
        state.changed.notify_all();
        if (error != 0) {
            return error;
        }
        socket = std::make_shared<Descriptor>(std::move(connected));
        arrivals.BeginAnew();
        readLimitMs = -1;
        return RenewSubscriptions(lock, deadline);
    }
    return 0;
}

/// Called without the lock, which an exception must not find given up.
int Connection::Connect(const Deadline& deadline, Descriptor& connected) const
{
    try {
        return state.directory.Connect(service, deadline, connected);
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

int Connection::RenewSubscriptions(Lock& lock, const Deadline& deadline)
{
    if (service != state.publisher) {
        return 0;
    }
    std::vector<unsigned char> frames;
    try {
        frames = RenewalFrames();
    } catch (const std::bad_alloc&) {
        Drop();  // a connection on which nothing is published would be taken for a good one
        return ENOMEM;
    }
    return Send(lock, frames.data(), frames.size(), deadline);
}

std::vector<unsigned char> Connection::RenewalFrames() const
{
    std::vector<unsigned char> frames;
    for (const Subscription& subscription : state.subscriptions.Accepted()) {
        const std::size_t at = frames.size();
        frames.resize(at + frameHeaderSize + 8);
        EncodeFrameHeader({FrameKind::Request, messages::subscribe, ReplyTable::nobody, 8},
                          &frames[at]);
        PutU32(&frames[at + frameHeaderSize], subscription.number);
        PutU32(&frames[at + frameHeaderSize + 4], subscription.itemId);
    }
    return frames;
}

int Connection::Send(Lock& lock, const unsigned char* bytes, std::size_t size,
                     const Deadline& deadline)
{
    const std::shared_ptr<Descriptor> target = socket;
    while (sending) {
        if (!state.WaitForChange(lock, deadline)) {
            return EAGAIN;
        }
    }
    // Lost meanwhile, and perhaps made again: whoever expected a reply was told so already.
    if (!target || socket != target) {
        return ECONNRESET;
    }
    sending = true;
    std::size_t sent = 0;
    int error = 0;
    while (sent < size && error == 0) {
        lock.unlock();
        const ssize_t count =
            send(target->Get(), bytes + sent, size - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
        error = count < 0 ? errno : 0;
        lock.lock();
        sent += count > 0 ? static_cast<std::size_t>(count) : 0;
        if (error == EAGAIN) {
            error = WaitForRoom(lock, *target, deadline);
        } else if (error == EINTR) {
            error = 0;
        }
    }
    sending = false;
    state.changed.notify_all();
    if (IsLoss(error)) {
        ReadTheRest(lock, *target);
    }
    // A frame that was cut off can never be completed: what follows would be taken for its rest.
    if (socket == target && error != 0 && (sent > 0 || error != EAGAIN)) {
        Drop();
    }
    return error;
}

/// Waits until the socket takes more, and reads meanwhile when nobody else does: two sides that
/// only write would wait for each other for ever.
int Connection::WaitForRoom(Lock& lock, const Descriptor& target, const Deadline& deadline)
{
    if (state.closed || !socket || socket.get() != &target) {
        return ECONNRESET;
    }
    if (deadline.HasPassed()) {
        return EAGAIN;
    }
    const bool isReader = !reading;
    reading = reading || isReader;
    pollfd entry{target.Get(), static_cast<short>(isReader ? POLLIN | POLLOUT : POLLOUT), 0};
    const int waitMs = (isReader ? deadline : Sooner(deadline, roomSliceMs)).RemainingMs();
    lock.unlock();
    poll(&entry, 1, waitMs);
    lock.lock();
    if (isReader) {
        reading = false;
        state.changed.notify_all();
        if ((entry.revents & ~POLLOUT) != 0) {
            Read(lock, 0);
        }
    }
    return 0;
}

/// After the other side is gone: what it sent before is still there and must not be lost.
void Connection::ReadTheRest(Lock& lock, const Descriptor& target)
{
    const Deadline deadline(restLimitMs);
    while (socket && socket.get() == &target && !deadline.HasPassed()) {
        if (reading) {
            state.WaitForChange(lock, deadline);
        } else if (!Read(lock, 0)) {
            return;
        }
    }
}

int Connection::SendMessage(Lock& lock, IpcMessage& message, FrameKind kind,
                            unsigned int correlation, const Deadline& deadline)
{
    unsigned char* const frame = message.frame.get();
    EncodeFrameHeader({kind, message.messageId, correlation, message.payloadLength}, frame);
    return Send(lock, frame, frameHeaderSize + message.payloadLength, deadline);
}

int Connection::Request(Lock& lock, IpcMessage& request, unsigned int replyId,
                        const Deadline& deadline, IpcMessage* reply)
{
    // A service that was restarted is only noticed by a send that fails: nothing of the request
    // was taken then, so it is made once more on a new connection.
    for (bool isFirst = true;; isFirst = false) {
        int error = Open(lock, deadline);
        if (error != 0) {
            return error;
        }
        const unsigned int correlation = replies.Expect(replyId, reply);
        error = SendMessage(lock, request, FrameKind::Request, correlation, deadline);
        if (error == 0) {
            return AwaitReply(lock, correlation, deadline);
        }
        replies.Settle(correlation, error);
        if (!IsLoss(error) || !isFirst) {
            return error == EAGAIN ? ETIMEDOUT : error;
        }
    }
}

int Connection::Notify(Lock& lock, IpcMessage& message, const Deadline& deadline)
{
    for (bool isFirst = true;; isFirst = false) {
        int error = Open(lock, Deadline(connectLimitMs));
        if (error == 0) {
            error = SendMessage(lock, message, FrameKind::OneWay, 0, deadline);
        }
        if (!IsLoss(error) || !isFirst) {
            return error;
        }
    }
}

int Connection::AwaitReply(Lock& lock, unsigned int correlation, const Deadline& deadline)
{
    for (bool hasLooked = false;; hasLooked = true) {
        if (replies.IsSettled(correlation)) {
            return replies.Settle(correlation, 0);
        }
        if (state.closed) {
            return replies.Settle(correlation, ESHUTDOWN);
        }
        if (hasLooked && deadline.HasPassed()) {
            return replies.Settle(correlation, ETIMEDOUT);
        }
        if (reading) {
            state.WaitForChange(lock, deadline);
        } else {
            Read(lock, deadline.RemainingMs());
        }
    }
}

/// A blocking read with a limit costs one call, poll() before a read two. The limit mostly stays
/// what it is, since the same waits come again and again.
void Connection::LimitReading(int fd, int waitMs)
{
    if (waitMs == 0 || waitMs == readLimitMs) {
        return;
    }
    timeval limit{};
    if (waitMs > 0) {
        limit.tv_sec = waitMs / 1000;
        limit.tv_usec = waitMs % 1000 * 1000;
    }
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    readLimitMs = waitMs;
}

bool Connection::Read(Lock& lock, int waitMs)
{
    const bool wasSomething = arrivals.AreHeldUp() ? GoOnSorting() : ReadSocket(lock, waitMs);
    state.changed.notify_all();
    LogComplaints(lock);
    return wasSomething;
}

bool Connection::GoOnSorting()
{
    if (!arrivals.GoOn()) {
        Drop();
    }
    return true;
}

bool Connection::ReadSocket(Lock& lock, int waitMs)
{
    std::size_t size = 0;
    unsigned char* const room = arrivals.Room(size);
    if (!room) {
        arrivals.ComplainOf("no memory to receive into");
        Drop();
        return false;
    }
    reading = true;
    const std::shared_ptr<Descriptor> source = socket;
    lock.unlock();
    LimitReading(source->Get(), waitMs);
    const ssize_t count = recv(source->Get(), room, size, waitMs == 0 ? MSG_DONTWAIT : 0);
    const int error = count < 0 ? errno : 0;
    lock.lock();
    reading = false;
    const bool isNothingYet = error == EINTR || error == EAGAIN;
    if (source == socket && !isNothingYet &&
        (count <= 0 || !arrivals.Sort(static_cast<std::size_t>(count)))) {
        Drop();
    }
    return count > 0;
}

void Connection::LogComplaints(Lock& lock)
{
    const std::vector<std::string> entries = arrivals.TakeComplaints();
    if (entries.empty()) {
        return;
    }
    lock.unlock();
    for (const std::string& entry : entries) {
        LogFromLibrary(logErrors, entry);
    }
    lock.lock();
}

/// Forgets the connection; whoever waits for a reply on it gets ECONNRESET. The socket itself is
/// closed by the last call that still uses it.
void Connection::Drop()
{
    if (!socket) {
        return;
    }
    Shutdown();
    socket.reset();
    replies.FailAll(ECONNRESET);
    state.changed.notify_all();
}

void Connection::Shutdown()
{
    if (socket) {
        shutdown(socket->Get(), SHUT_RDWR);
    }
}

}  // namespace platform
