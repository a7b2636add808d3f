#include "platform/src/reply_table.h"

#include <IpcMessage.h>

#include <algorithm>
#include <cerrno>

namespace platform {

void ReplyTable::Expect(unsigned int correlation, unsigned int replyId)
{
    waiters.push_back({correlation, replyId, {}, {}});
}

bool ReplyTable::Take(const ReceivedFrame& frame)
{
    const FrameHeader& header = frame.header;
    const auto waiter = Find(header.correlation);
    if (waiter == waiters.end() || waiter->result) {
        return false;
    }
    const bool isRight = header.messageId == waiter->replyId &&
                         IsWellFormed(header.messageId, frame.payload, header.length);
    waiter->result = isRight ? 0 : EPROTO;
    waiter->reply = frame;
    return isRight;
}

void ReplyTable::FailAll(int error)
{
    for (Waiter& waiter : waiters) {
        waiter.result = waiter.result.value_or(error);
    }
}

bool ReplyTable::AreAwaited() const
{
    return std::any_of(waiters.begin(), waiters.end(), [](const Waiter& w) { return !w.result; });
}

void ReplyTable::Forget(unsigned int correlation)
{
    const auto waiter = Find(correlation);
    waiters.erase(waiter, waiter + (waiter == waiters.end() ? 0 : 1));
}

std::vector<ReplyTable::Waiter>::iterator ReplyTable::Find(unsigned int correlation)
{
    return std::find_if(waiters.begin(), waiters.end(),
                        [=](const Waiter& w) { return w.correlation == correlation; });
}

int CopyFrame(const ReceivedFrame& frame, IpcMessage& message)
{
    return message.Allocate(frame.header.messageId, frame.header.length,
                            reinterpret_cast<char*>(frame.payload));
}

}  // namespace platform
