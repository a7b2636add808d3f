#include "simulator/notification.h"

#include "platform/src/wire_format.h"

namespace sim {

using namespace platform;

SharedFrame EncodeNotification(unsigned int subscription, unsigned int itemId, const Item& record)
{
    const unsigned int size = record.EncodedSize();
    auto frame = std::make_shared<std::vector<unsigned char>>(frameHeaderSize + size);
    EncodeFrameHeader({FrameKind::Notification, itemId, subscription, size}, frame->data());
    record.Encode(frame->data() + frameHeaderSize);
    return frame;
}

}  // namespace sim
