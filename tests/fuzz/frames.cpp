#include "tests/fuzz/frames.h"

std::string AnyFrame(unsigned int kind, unsigned int messageId, unsigned int correlation,
                     const std::string& payload, std::size_t claimed)
{
    return std::string("ST\x01") + static_cast<char>(kind) + U32(messageId) + U32(correlation) +
           U32(static_cast<unsigned int>(claimed)) + payload;
}

bool IsSound(unsigned int messageId, const std::string& payload)
{
    return IsWellFormed(messageId, reinterpret_cast<const unsigned char*>(payload.data()),
                        payload.size());
}

namespace {

/// A number in its encoded form: usually a small one, sometimes any.
std::string ChooseNumber(Choices& choices)
{
    return U32(choices.OnceIn(8) ? choices.U32() : choices.Below(17));
}

std::string ChooseRecord(Choices& choices, std::size_t prefix)
{
    std::string record(1, static_cast<char>(choices.Below(17)));
    while (record.size() < prefix) {
        record += static_cast<char>(choices.Byte());
    }
    const std::string data = choices.Bytes(choices.Below(64));
    const auto size = static_cast<unsigned int>(data.size());
    return record + U32(choices.OnceIn(10) ? choices.U32() : size) + data;
}

std::string ChooseSubscription(Choices& choices)
{
    using namespace messages;
    constexpr unsigned int items[] = {regionDataItem, regionVisItem, paletteItem};
    const std::string number = ChooseNumber(choices);
    return number + U32(choices.OnceIn(8) ? choices.U32() : items[choices.Below(3)]);
}

}  // namespace

std::string ChoosePayload(Choices& choices, unsigned int messageId)
{
    using namespace messages;
    const bool isUnknown = IsSound(messageId, "any bytes");
    if (choices.OnceIn(10) || isUnknown) {
        return choices.Bytes(choices.Below(32));
    }
    switch (messageId) {
    case regionDataItem:
    case setRegionData: return ChooseRecord(choices, 2);
    case paletteItem:
    case setPaletteData: return ChooseRecord(choices, 3);
    case subscribe: return ChooseSubscription(choices);
    default: break;
    }
    std::string payload =
        IsSound(messageId, "1234") || IsSound(messageId, "12345") || IsSound(messageId, "12345678")
            ? ChooseNumber(choices)
            : "";
    while (!IsSound(messageId, payload)) {
        payload += static_cast<char>(choices.Below(17));
    }
    return payload;
}

unsigned int ChooseClaim(Choices& choices, const std::string& payload)
{
    const auto length = static_cast<unsigned int>(payload.size());
    if (!choices.OnceIn(10)) {
        return length;
    }
    return choices.OnceIn(2) ? choices.U32() : length + choices.Byte() - 128;
}
