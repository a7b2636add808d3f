#include "simulator/journal/notification_line.h"

#include "platform/src/big_endian.h"
#include "platform/src/wire_format.h"
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <new>

using namespace platform;
using namespace sim;
using recording::NotificationKind;

namespace {

unsigned char Byte(unsigned int number) { return static_cast<unsigned char>(number); }

std::vector<unsigned char> BytesOf(const recording::Data& data)
{
    return {data.bytes, data.bytes + data.size};
}

SharedFrame Encode(const recording::Notification& line)
{
    if (line.kind == NotificationKind::RegionVisibility) {
        RegionVisItem record;
        record.regionId = Byte(line.regionId);
        record.visible = line.visible;
        return EncodeNotification(line.subscription, record);
    }
    if (line.kind == NotificationKind::RegionData) {
        RegionDataItem record;
        record.regionId = Byte(line.regionId);
        record.subtitleFormat = Byte(line.subtitleFormat);
        record.data = BytesOf(line.data);
        return EncodeNotification(line.subscription, record);
    }
    PaletteItem record;
    record.regionId = Byte(line.regionId);
    record.backgroundCode = Byte(line.backgroundCode);
    record.fill = line.fill;
    record.paletteData = BytesOf(line.data);
    return EncodeNotification(line.subscription, record);
}

}  // namespace

recording::Notification sim::LineOf(const SharedFrame& frame)
{
    FrameHeader header{};
    DecodeFrameHeader(frame->data(), header);
    const unsigned char* const payload = frame->data() + frameHeaderSize;
    recording::Notification line;
    line.subscription = header.correlation;
    line.regionId = payload[0];
    if (header.messageId == messages::regionVisItem) {
        line.kind = NotificationKind::RegionVisibility;
        line.visible = payload[1] != 0;
        return line;
    }
    const bool isPalette = header.messageId == messages::paletteItem;
    line.kind = isPalette ? NotificationKind::Palette : NotificationKind::RegionData;
    (isPalette ? line.backgroundCode : line.subtitleFormat) = payload[1];
    line.fill = isPalette && payload[2] != 0;
    const unsigned char* const data = payload + (isPalette ? 3 : 2);
    line.data = {data + 4, GetU32(data)};
    return line;
}

SharedFrame sim::FrameOf(const recording::Notification& line)
{
    try {
        return Encode(line);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

const char* sim::ReasonAgainst(const recording::Notification& line)
{
    constexpr std::size_t longestHead = 7;  // of a palette
    return !line.data.AreThere() ? "cannot be played: it has no bytes"
           : line.data.size + longestHead > maxPayload
               ? "cannot be played: a record of more than 16 MiB"
               : nullptr;
}
