#include "simulator/garbage.h"

#include "platform/src/big_endian.h"
#include "platform/src/wire_format.h"

#include <algorithm>

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
    // One less than the length of an empty record wraps, and is wrong as well.
    const unsigned int lies[waysToLie] = {truth + 1, truth - 1, 0xFFFFFFFFu};
    PutU32(length, lies[way]);
}

}  // namespace

SharedFrame GarbageMaker::Spoil(const SharedFrame& good)
{
    FrameHeader header{};
    DecodeFrameHeader(good->data(), header);
    const std::size_t lengthOffset = LengthOffset(header.messageId);
    const unsigned int way = turn++ % (waysToLie + waysToMismatch);
    const bool lies = lengthOffset != 0 && way < waysToLie;
    if (!lies) {
        // One byte more than the largest payload would be a malformed frame.
        const bool isCut = way % waysToMismatch == 0 || header.length == maxPayload;
        header.length = isCut ? header.length - 1 : header.length + 1;
    }
    const NewFrame frame = MakeFrame(frameHeaderSize + header.length);
    if (frame) {
        std::copy_n(good->data(), std::min(good->size(), frame->size()), frame->data());
        EncodeFrameHeader(header, frame->data());
        if (lies) {
            Lie(frame->data() + frameHeaderSize + lengthOffset, way);
        }
    }
    return frame;
}

}  // namespace sim
