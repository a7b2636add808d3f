#include "simulator/garbage.h"

#include "platform/src/big_endian.h"
#include "platform/src/wire_format.h"

namespace sim {

using namespace platform;

namespace {

constexpr unsigned int waysToLie = 3;
constexpr unsigned int waysToMismatch = 2;

/// Where the length inside a record of message \p itemId stands; 0 when the record has none.
std::size_t LengthOffset(unsigned int itemId)
{
    switch (itemId) {
    case messages::regionDataItem: return 2;
    case messages::paletteItem: return 3;
    default: return 0;
    }
}

void Lie(unsigned char* length, unsigned int way)
{
    const unsigned int truth = GetU32(length);
    switch (way) {
    case 0: PutU32(length, truth + 1); break;
    case 1: PutU32(length, truth - 1); break;  // of an empty record: wraps, and is a lie as well
    default: PutU32(length, 0xFFFFFFFFu); break;
    }
}

}  // namespace

SharedFrame GarbageMaker::Spoil(const SharedFrame& good)
{
    auto frame = std::make_shared<std::vector<unsigned char>>(*good);
    FrameHeader header{};
    DecodeFrameHeader(frame->data(), header);
    const std::size_t lengthOffset = LengthOffset(header.messageId);
    const unsigned int way = turn++ % (waysToLie + waysToMismatch);
    if (lengthOffset != 0 && way < waysToLie) {
        Lie(frame->data() + frameHeaderSize + lengthOffset, way);
        return frame;
    }
    // One byte more than the largest payload would be a malformed frame.
    if (way % waysToMismatch == 0 || header.length == maxPayload) {
        frame->pop_back();
    } else {
        frame->push_back(0);
    }
    header.length = static_cast<unsigned int>(frame->size() - frameHeaderSize);
    EncodeFrameHeader(header, frame->data());
    return frame;
}

}  // namespace sim
