#include "simulator/notification.h"

#include "platform/src/wire_format.h"

#include <new>

namespace sim {

using namespace platform;

NewFrame MakeFrame(std::size_t size)
{
    try {
        return std::make_shared<std::vector<unsigned char>>(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

NewFrame EncodeNotification(unsigned int subscription, unsigned int itemId, const Item& record)
{
    const unsigned int size = record.EncodedSize();
    NewFrame frame = MakeFrame(frameHeaderSize + size);
    if (frame) {
        EncodeFrameHeader({FrameKind::Notification, itemId, subscription, size}, frame->data());
        record.Encode(frame->data() + frameHeaderSize);
    }
    return frame;
}

}  // namespace sim
