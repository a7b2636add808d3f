#include "platform/src/reply_table.h"

#include <IpcMessage.h>

#include <algorithm>
#include <cerrno>

namespace platform {

bool ReplyTable::Take(const ReceivedFrame& frame)
{
    const FrameHeader& header = frame.header;
    const auto found = waiters.find(header.correlation);
    if (found == waiters.end() || found->second.result) {
        return false;
    }
    Waiter& waiter = found->second;
    const bool isRight = header.messageId == waiter.replyId &&
                         IsWellFormed(header.messageId, frame.payload, header.length);
    waiter.result = isRight ? 0 : EPROTO;
    waiter.reply = frame;
    return isRight;
}

void ReplyTable::FailAll(int error)
{
    for (auto& entry : waiters) {
        entry.second.result = entry.second.result.value_or(error);
    }
}

bool ReplyTable::AreAwaited() const
{
    return std::any_of(waiters.begin(), waiters.end(),
                       [](const auto& entry) { return !entry.second.result; });
}

int CopyFrame(const ReceivedFrame& frame, IpcMessage& message)
{
    return message.Allocate(frame.header.messageId, frame.header.length,
                            reinterpret_cast<char*>(frame.payload));
}

}  // namespace platform
