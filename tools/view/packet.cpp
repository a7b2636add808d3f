#include "view/packet.h"

#include "view/pcapng.h"

#include "platform/src/wire_format.h"
#include "recording/fields.h"

#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <algorithm>
#include <iterator>
#include <limits>

namespace view {

namespace {

using platform::FrameKind;
using recording::Content;
using recording::RequestKind;
namespace messages = platform::messages;

/// The low bytes of a number, the most significant one first.
template <int width>
std::string BigEndian(std::uint64_t number)
{
    std::string bytes;
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) {
        bytes += static_cast<char>(number >> shift & 0xFF);
    }
    return bytes;
}

/// By NotificationKind.
constexpr unsigned int itemIds[] = {
    messages::regionDataItem,
    messages::regionVisItem,
    messages::paletteItem,
};
static_assert(std::size(itemIds) == std::size(recording::notificationKinds));

/// By RequestKind.
constexpr unsigned int requestIds[] = {
    messages::ping,           messages::quit,
    messages::subscribe,      messages::unsubscribe,
    messages::setRegionData,  messages::setRegionVisibility,
    messages::setPaletteData, messages::invertRegionData,
    messages::refreshRegions, messages::sendSensorUpdate,
    messages::getLogLevel,    messages::setLogLevel,
};
static_assert(std::size(requestIds) == std::size(recording::requestKinds));

unsigned char Byte(unsigned int number) { return static_cast<unsigned char>(number); }

/// Zeros in the place of bytes that the recording does not have.
std::vector<unsigned char> BytesOf(const recording::Data& data)
{
    return data.AreThere() ? std::vector<unsigned char>(data.bytes, data.bytes + data.size)
                           : std::vector<unsigned char>(data.size);
}

std::string Encoded(const Item& record)
{
    std::vector<unsigned char> bytes(record.EncodedSize());
    record.Encode(bytes.data());
    return {bytes.begin(), bytes.end()};
}

std::string BitmapOf(const Content& content)
{
    RegionDataItem record;
    record.regionId = Byte(content.regionId);
    record.subtitleFormat = Byte(content.subtitleFormat);
    record.data = BytesOf(content.data);
    return Encoded(record);
}

std::string VisibilityOf(const Content& content)
{
    RegionVisItem record;
    record.regionId = Byte(content.regionId);
    record.visible = content.visible;
    return Encoded(record);
}

std::string PaletteOf(const Content& content)
{
    PaletteItem record;
    record.regionId = Byte(content.regionId);
    record.backgroundCode = Byte(content.backgroundCode);
    record.fill = content.fill;
    record.paletteData = BytesOf(content.data);
    return Encoded(record);
}

std::string PayloadOf(unsigned int messageId, const Content& content)
{
    switch (messageId) {
    case messages::regionDataItem:
    case messages::setRegionData: return BitmapOf(content);
    case messages::regionVisItem:
    case messages::setRegionVisibility: return VisibilityOf(content);
    case messages::paletteItem:
    case messages::setPaletteData: return PaletteOf(content);
    case messages::subscribe:
        return BigEndian<4>(content.subscription) + BigEndian<4>(content.itemId);
    case messages::unsubscribe: return BigEndian<4>(content.subscription);
    case messages::invertRegionData: return BigEndian<4>(content.regionId);
    case messages::sendSensorUpdate:
        return BigEndian<4>(content.sensor) + BigEndian<1>(content.on ? 1 : 0);
    case messages::setLogLevel: return BigEndian<4>(content.level);
    default: return "";
    }
}

std::string Frame(FrameKind kind, unsigned int messageId, std::size_t correlation,
                  const std::string& payload)
{
    unsigned char header[platform::frameHeaderSize];
    platform::EncodeFrameHeader({kind, messageId, static_cast<unsigned int>(correlation),
                                 static_cast<unsigned int>(payload.size())},
                                header);
    return std::string(std::begin(header), std::end(header)) + payload;
}

/// The bytes before the first frame: what a recording knows and frames do not have.
std::string Prefix(unsigned int result, unsigned int peers, const recording::Moment& at,
                   std::size_t line)
{
    constexpr unsigned int version = 1;
    return "SR" + BigEndian<1>(version) + BigEndian<1>(result) + BigEndian<4>(peers) +
           BigEndian<8>(static_cast<std::uint64_t>(at.monoUs)) + BigEndian<4>(line);
}

/// A packet of a frame with \p data at its end, and another frame.
Packet Cut(std::string bytes, const recording::Data& data, const std::string& nextFrame)
{
    const std::size_t size = bytes.size() + nextFrame.size();
    if (data.AreThere()) {
        bytes += nextFrame;
    } else {
        bytes.resize(bytes.size() - data.size);
    }
    bytes.resize(std::min(bytes.size(), largestPacket));
    return {bytes, size};
}

/// Nothing for a request without a reply. Recordings do not have the level that a service replied.
std::string ReplyTo(const recording::Request& request, unsigned int messageId,
                    std::size_t correlation)
{
    if (request.result == recording::Result::Unanswered || request.kind == RequestKind::Quit ||
        request.kind == RequestKind::GetLogLevel) {
        return "";
    }
    const bool hasResult = request.kind != RequestKind::Ping;
    return Frame(FrameKind::Reply, messages::ReplyTo(messageId), correlation,
                 hasResult ? BigEndian<4>(static_cast<unsigned int>(request.result)) : "");
}

}  // namespace

Packet PacketOf(const recording::Notification& notification, std::size_t line)
{
    constexpr unsigned int noResult = 255;
    constexpr unsigned int unknown = std::numeric_limits<std::uint32_t>::max();
    const unsigned int id = itemIds[static_cast<std::size_t>(notification.kind)];
    return Cut(Prefix(noResult, notification.receivers.value_or(unknown), notification.at, line) +
                   Frame(FrameKind::Notification, id, notification.subscription,
                         PayloadOf(id, notification)),
               notification.data, "");
}

Packet PacketOf(const recording::Request& request, std::size_t line)
{
    const unsigned int id = requestIds[static_cast<std::size_t>(request.kind)];
    const bool isOneWay = request.kind == RequestKind::Quit;
    return Cut(Prefix(static_cast<unsigned int>(request.result), request.client, request.at, line) +
                   Frame(isOneWay ? FrameKind::OneWay : FrameKind::Request, id, isOneWay ? 0 : line,
                         PayloadOf(id, request)),
               request.data, ReplyTo(request, id, line));
}

}  // namespace view
