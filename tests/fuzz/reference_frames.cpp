#include "tests/fuzz/reference_frames.h"

#include <map>

bool operator==(const ReferenceFrame& one, const ReferenceFrame& other)
{
    return one.kind == other.kind && one.messageId == other.messageId &&
           one.correlation == other.correlation && one.payload == other.payload;
}

std::string BigEndian(unsigned int value)
{
    std::string bytes;
    for (unsigned int divisor = 16777216; divisor > 0; divisor /= 256) {
        bytes += static_cast<char>(value / divisor % 256);
    }
    return bytes;
}

unsigned int FromBigEndian(const std::string& bytes, std::size_t at)
{
    unsigned int value = 0;
    for (std::size_t i = at; i < at + 4; ++i) {
        value = value * 256 + static_cast<unsigned char>(bytes.at(i));
    }
    return value;
}

std::string FrameOf(unsigned int kind, unsigned int messageId, unsigned int correlation,
                    const std::string& payload, std::size_t claimed)
{
    return std::string("ST\x01") + static_cast<char>(kind) + BigEndian(messageId) +
           BigEndian(correlation) + BigEndian(static_cast<unsigned int>(claimed)) + payload;
}

StreamEnd TakeFrame(std::string& stream, ReferenceFrame& frame)
{
    if (stream.size() < 16) {
        return StreamEnd::Cut;
    }
    const unsigned int length = FromBigEndian(stream, 12);
    frame.kind = static_cast<unsigned char>(stream[3]);
    if (stream.compare(0, 3, "ST\x01") != 0 || frame.kind == 0 || frame.kind > 4 ||
        length > 16777216) {
        return StreamEnd::Malformed;
    }
    if (stream.size() < 16 + std::size_t{length}) {
        return StreamEnd::Cut;
    }
    frame.messageId = FromBigEndian(stream, 4);
    frame.correlation = FromBigEndian(stream, 8);
    frame.payload = stream.substr(16, length);
    stream.erase(0, 16 + std::size_t{length});
    return StreamEnd::Complete;
}

namespace {

/// Payload lengths of messages with a fixed length.
const std::map<unsigned int, std::size_t>& FixedLengths()
{
    using namespace reference;
    static const std::map<unsigned int, std::size_t> lengths{
        {quit, 0},
        {ping, 0},
        {ping + 1, 0},
        {refresh, 0},
        {getLogLevel, 0},
        {notUnderstood, 0},
        {unsubscribe, 4},
        {invert, 4},
        {setLogLevel, 4},
        {subscribe + 1, 4},
        {unsubscribe + 1, 4},
        {setRegionData + 1, 4},
        {setVisibility + 1, 4},
        {setPalette + 1, 4},
        {invert + 1, 4},
        {refresh + 1, 4},
        {sensor + 1, 4},
        {setLogLevel + 1, 4},
        {sensor, 5},
        {subscribe, 8},
        {getLogLevel + 1, 8},
        {visibility, 2},
        {setVisibility, 2},
    };
    return lengths;
}

/// Number of bytes before the inner length of a record; 0 if the message has none.
std::size_t CountOffset(unsigned int messageId)
{
    switch (messageId) {
    case reference::regionData:
    case reference::setRegionData: return 2;
    case reference::palette:
    case reference::setPalette: return 3;
    default: return 0;
    }
}

}  // namespace

bool ReferenceIsWellFormed(unsigned int messageId, const std::string& payload)
{
    const std::size_t offset = CountOffset(messageId);
    if (offset != 0) {
        return payload.size() >= offset + 4 &&
               payload.size() == offset + 4 + std::size_t{FromBigEndian(payload, offset)};
    }
    const auto fixed = FixedLengths().find(messageId);
    return fixed == FixedLengths().end() || payload.size() == fixed->second;
}

namespace {

/// A number in its encoded form: usually a small one, sometimes any.
std::string ChooseNumber(Choices& choices)
{
    return BigEndian(choices.OnceIn(8) ? choices.U32() : choices.Below(17));
}

std::string ChooseRecord(Choices& choices, std::size_t prefix)
{
    std::string record(1, static_cast<char>(choices.Below(17)));
    while (record.size() < prefix) {
        record += static_cast<char>(choices.Byte());
    }
    const std::string data = choices.Bytes(choices.Below(64));
    const std::size_t size = data.size();
    const unsigned int claimed =
        choices.OnceIn(10) ? choices.U32() : static_cast<unsigned int>(size);
    return record + BigEndian(claimed) + data;
}

}  // namespace

std::string ChoosePayload(Choices& choices, unsigned int messageId)
{
    using namespace reference;
    if (choices.OnceIn(10)) {
        return choices.Bytes(choices.Below(32));
    }
    const std::size_t offset = CountOffset(messageId);
    if (offset != 0) {
        return ChooseRecord(choices, offset);
    }
    switch (messageId) {
    case subscribe: {
        constexpr unsigned int items[] = {regionData, visibility, palette};
        const std::string number = ChooseNumber(choices);
        return number + BigEndian(choices.OnceIn(8) ? choices.U32() : items[choices.Below(3)]);
    }
    case sensor: {
        const std::string number = ChooseNumber(choices);
        return number + static_cast<char>(choices.Byte());
    }
    default: break;
    }
    const auto fixed = FixedLengths().find(messageId);
    if (fixed == FixedLengths().end()) {
        return choices.Bytes(choices.Below(32));
    }
    std::string payload;
    if (fixed->second % 4 == 0) {
        while (payload.size() < fixed->second) {
            payload += ChooseNumber(choices);
        }
    }
    while (payload.size() < fixed->second) {
        payload += static_cast<char>(choices.Below(17));
    }
    return payload;
}

unsigned int ChooseClaim(Choices& choices, const std::string& payload)
{
    const unsigned int length = static_cast<unsigned int>(payload.size());
    if (!choices.OnceIn(10)) {
        return length;
    }
    return choices.OnceIn(2) ? choices.U32() : length + choices.Byte() - 128;
}
