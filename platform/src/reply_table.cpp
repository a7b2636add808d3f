#include "platform/src/reply_table.h"

#include <IpcMessage.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace platform {

unsigned int ReplyTable::Expect(unsigned int replyId, IpcMessage* reply)
{
    if (++lastCorrelation == nobody) {
        ++lastCorrelation;
    }
    waiters.push_back({lastCorrelation, replyId, reply, false, 0});
    return lastCorrelation;
}

void ReplyTable::Take(const ReceivedFrame& frame)
{
    const FrameHeader& header = frame.header;
    const auto waiter = Find(header.correlation);
    if (waiter == waiters.end() || waiter->isSettled) {
        return;
    }
    waiter->isSettled = true;
    if (header.messageId != waiter->replyId ||
        !IsWellFormed(header.messageId, frame.payload, header.length)) {
        waiter->result = EPROTO;
    } else if (waiter->reply) {
        waiter->result = CopyFrame(frame, *waiter->reply);
    }
}

void ReplyTable::FailAll(int error)
{
    for (Waiter& waiter : waiters) {
        if (!waiter.isSettled) {
            waiter.isSettled = true;
            waiter.result = error;
        }
    }
}

bool ReplyTable::AreAwaited() const
{
    return std::any_of(waiters.begin(), waiters.end(),
                       [](const Waiter& w) { return !w.isSettled; });
}

bool ReplyTable::IsSettled(unsigned int correlation) { return Find(correlation)->isSettled; }

int ReplyTable::Settle(unsigned int correlation, int error)
{
    const auto waiter = Find(correlation);
    const int result = error == 0 ? waiter->result : error;
    waiters.erase(waiter);
    return result;
}

std::vector<ReplyTable::Waiter>::iterator ReplyTable::Find(unsigned int correlation)
{
    return std::find_if(waiters.begin(), waiters.end(),
                        [=](const Waiter& w) { return w.correlation == correlation; });
}

int CopyFrame(const ReceivedFrame& frame, IpcMessage& message)
{
    const unsigned int length = frame.header.length;
    const int error = message.Allocate(frame.header.messageId, length, nullptr);
    if (error == 0 && length > 0) {
        std::memcpy(message.Payload(), frame.payload, length);
    }
    return error;
}

}  // namespace platform
