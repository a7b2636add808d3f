#include "simulator/service/notification.h"

#include "simulator/clients/subscriptions.h"

#include "platform/src/big_endian.h"
#include "platform/src/wire_format.h"

#include <algorithm>
#include <new>

using namespace platform;
using namespace sim;

namespace {

NewFrame MakeFrame(const FrameHeader& header)
{
    try {
        auto frame = std::make_shared<std::vector<unsigned char>>(frameHeaderSize + header.length);
        EncodeFrameHeader(header, frame->data());
        return frame;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

/// Where a record of message \p itemId has its length; 0 when it has none.
std::size_t LengthOffset(unsigned int itemId)
{
    return itemId == messages::regionDataItem ? 2 : itemId == messages::paletteItem ? 3 : 0;
}

}  // namespace

NewFrame sim::EncodeNotification(unsigned int subscription, const Item& record)
{
    NewFrame frame = MakeFrame(
        {FrameKind::Notification, ItemOf(subscription), subscription, record.EncodedSize()});
    if (frame) {
        record.Encode(frame->data() + frameHeaderSize);
    }
    return frame;
}

SharedFrame sim::Spoil(const SharedFrame& good, unsigned int way)
{
    FrameHeader header{};
    DecodeFrameHeader(good->data(), header);
    const std::size_t lengthOffset = LengthOffset(header.messageId);
    way %= 5;
    const bool lies = lengthOffset != 0 && way < 3;
    if (!lies) {
        // One byte more than the largest payload would be a malformed frame.
        const bool isCut = way % 2 == 0 || header.length == maxPayload;
        header.length = isCut ? header.length - 1 : header.length + 1;
    }
    NewFrame frame = MakeFrame(header);
    if (!frame) {
        return frame;
    }
    std::copy_n(good->data() + frameHeaderSize,
                std::min(good->size(), frame->size()) - frameHeaderSize,
                frame->data() + frameHeaderSize);
    if (lies) {
        unsigned char* const length = frame->data() + frameHeaderSize + lengthOffset;
        const unsigned int truth = GetU32(length);
        // For an empty record, one less wraps, which is wrong too.
        PutU32(length, way == 0 ? truth + 1 : way == 1 ? truth - 1 : 0xFFFFFFFFu);
    }
    return frame;
}
