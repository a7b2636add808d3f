#include "platform/src/wire_format.h"

#include "platform/src/big_endian.h"

#include <IpcMessage.h>

using namespace platform;

static_assert(maxPayload == IpcMessage::maxLength, "one limit on both sides of the interface");

void platform::EncodeFrameHeader(const FrameHeader& header, unsigned char* bytes)
{
    bytes[0] = 'S';
    bytes[1] = 'T';
    bytes[2] = 1;
    bytes[3] = static_cast<unsigned char>(header.kind);
    PutU32(bytes + 4, header.messageId);
    PutU32(bytes + 8, header.correlation);
    PutU32(bytes + 12, header.length);
}

const char* platform::DecodeFrameHeader(const unsigned char* bytes, FrameHeader& header)
{
    if (bytes[0] != 'S' || bytes[1] != 'T') {
        return "not a frame";
    }
    if (bytes[2] != 1) {
        return "a frame of another version";
    }
    if (bytes[3] < static_cast<unsigned char>(FrameKind::Request) ||
        bytes[3] > static_cast<unsigned char>(FrameKind::OneWay)) {
        return "a frame of an unknown kind";
    }
    header.kind = static_cast<FrameKind>(bytes[3]);
    header.messageId = GetU32(bytes + 4);
    header.correlation = GetU32(bytes + 8);
    header.length = GetU32(bytes + 12);
    return header.length <= maxPayload ? nullptr : "a frame that claims more than 16 MiB";
}

bool platform::IsAcceptance(const unsigned char* reply)
{
    return GetU32(reply) == static_cast<unsigned int>(Result::Accepted);
}

/// Whether \p payload ends in a length of 4 bytes at \p offset and that many bytes.
static bool EndsInCountedBytes(const unsigned char* payload, std::size_t length, std::size_t offset)
{
    return length >= offset + 4 && GetU32(payload + offset) == length - offset - 4;
}

bool platform::IsWellFormed(unsigned int messageId, const unsigned char* payload,
                            std::size_t length)
{
    using namespace messages;
    switch (messageId) {
    case regionDataItem:
    case setRegionData: return EndsInCountedBytes(payload, length, 2);
    case paletteItem:
    case setPaletteData: return EndsInCountedBytes(payload, length, 3);
    case regionVisItem:
    case setRegionVisibility: return length == 2;
    case quit:
    case ping:
    case ReplyTo(ping):
    case refreshRegions:
    case getLogLevel:
    case notUnderstood: return length == 0;
    case unsubscribe:
    case invertRegionData:
    case setLogLevel:
    case ReplyTo(subscribe):
    case ReplyTo(unsubscribe):
    case ReplyTo(setRegionData):
    case ReplyTo(setRegionVisibility):
    case ReplyTo(setPaletteData):
    case ReplyTo(invertRegionData):
    case ReplyTo(refreshRegions):
    case ReplyTo(sendSensorUpdate):
    case ReplyTo(setLogLevel): return length == 4;
    case sendSensorUpdate: return length == 5;
    case subscribe:
    case ReplyTo(getLogLevel): return length == 8;
    default: return true;
    }
}
