#pragma once

#include <cstddef>

namespace platform {

// Frames between the stand-in and a service, see docs/wire-format.md.

/// The kind of a frame, with its value on the wire.
enum class FrameKind : unsigned char {
    Request = 1,       ///< wants a reply with the same correlation
    Reply = 2,         ///< answers a request
    Notification = 3,  ///< from the service to a subscriber
    OneWay = 4,        ///< from the client, no reply
};

/// The 16 bytes before each payload: "ST", version 1, kind, then three numbers of 4 bytes each.
struct FrameHeader {
    FrameKind kind;
    unsigned int messageId;
    /// Request and Reply: the number that pairs them, made by the sender of the request.
    /// Notification: the number of the subscription it answers. OneWay: 0.
    unsigned int correlation;
    unsigned int length;  ///< of the payload in bytes, 0 to maxPayload
};

constexpr std::size_t frameHeaderSize = 16;
constexpr unsigned int maxPayload = 16u * 1024u * 1024u;  ///< IpcMessage::maxLength, see there

void EncodeFrameHeader(const FrameHeader& header, unsigned char* bytes);

/// Reads the frameHeaderSize bytes at \p bytes.
/// \return null when they are a header within the limits, else the reason as a phrase
const char* DecodeFrameHeader(const unsigned char* bytes, FrameHeader& header);

/// Message numbers. The number of a reply is its request's plus one.
namespace messages {
constexpr unsigned int quit = 0x3B00;  // one-way
constexpr unsigned int ping = 0x3B01;
constexpr unsigned int regionDataItem = 0x3B19;  // notifications, numbered as the record they carry
constexpr unsigned int regionVisItem = 0x3B1C;
constexpr unsigned int paletteItem = 0x3B1D;
// The numbers from here on are the stand-in's own.
constexpr unsigned int subscribe = 0x3C00;            // subscription u32, item id u32
constexpr unsigned int unsubscribe = 0x3C02;          // subscription u32
constexpr unsigned int setRegionData = 0x3C04;        // region data record
constexpr unsigned int setRegionVisibility = 0x3C06;  // visibility record
constexpr unsigned int setPaletteData = 0x3C08;       // palette record
constexpr unsigned int invertRegionData = 0x3C0A;     // region u32
constexpr unsigned int refreshRegions = 0x3C0C;       // no payload
constexpr unsigned int sendSensorUpdate = 0x3C0E;     // sensor u32, on u8
constexpr unsigned int getLogLevel = 0x3C10;          // no payload; the reply adds the level u32
constexpr unsigned int setLogLevel = 0x3C12;          // level u32
constexpr unsigned int notUnderstood = 0x3CFF;        // reply to an unknown request

constexpr unsigned int ReplyTo(unsigned int request) { return request + 1; }
}  // namespace messages

/// First 4 bytes of the reply to each of the stand-in's own requests.
enum class Result : unsigned int { Accepted = 0, Refused = 1 };

/// Whether \p reply, a well-formed reply to one of them, is an acceptance.
bool IsAcceptance(const unsigned char* reply);

/// Whether \p length bytes at \p payload are exactly what the message \p messageId carries. This is
/// the one check before a record or reply is used: decoders get no length and cannot check.
///
/// \return true for every message number that is not listed above, with any payload
bool IsWellFormed(unsigned int messageId, const unsigned char* payload, std::size_t length);

/// The encoded size of a record with \p bytes after a prefix. Saturates instead of wrapping, so
/// that an oversized record is refused.
unsigned int RecordSize(unsigned int prefix, std::size_t bytes);

/// Subscription numbers.
namespace subscriptions {
constexpr unsigned int everyRegionData = 1;
constexpr unsigned int regionDataHd = 2;
constexpr unsigned int regionDataSd = 3;
constexpr unsigned int regionDataCif = 4;
constexpr unsigned int regionDataOther = 12;
constexpr unsigned int regionVisibility = 6;
constexpr unsigned int palette = 10;

/// The subscription that a bitmap of \p subtitleFormat is published under.
constexpr unsigned int ForFormat(unsigned char subtitleFormat)
{
    return subtitleFormat <= 2 ? regionDataHd + subtitleFormat : regionDataOther;
}

/// Whether holding or ending \p held includes \p number: 1 is region data in every format.
constexpr bool Covers(unsigned int held, unsigned int number)
{
    return held == number ||
           (held == everyRegionData && (number == regionDataHd || number == regionDataSd ||
                                        number == regionDataCif || number == regionDataOther));
}
}  // namespace subscriptions

}  // namespace platform
