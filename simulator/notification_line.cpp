#include "simulator/notification_line.h"

#include "platform/src/big_endian.h"
#include "platform/src/wire_format.h"

using namespace platform;
using namespace sim;

recording::Notification sim::LineOf(const SharedFrame& frame)
{
    FrameHeader header{};
    DecodeFrameHeader(frame->data(), header);
    const unsigned char* const payload = frame->data() + frameHeaderSize;
    recording::Notification line;
    line.subscription = header.correlation;
    line.regionId = payload[0];
    if (header.messageId == messages::regionVisItem) {
        line.kind = recording::NotificationKind::RegionVisibility;
        line.visible = payload[1] != 0;
        return line;
    }
    const bool isPalette = header.messageId == messages::paletteItem;
    line.kind =
        isPalette ? recording::NotificationKind::Palette : recording::NotificationKind::RegionData;
    (isPalette ? line.backgroundCode : line.subtitleFormat) = payload[1];
    line.fill = isPalette && payload[2] != 0;
    const unsigned char* const data = payload + (isPalette ? 3 : 2);
    line.data = {data + 4, GetU32(data)};
    return line;
}
