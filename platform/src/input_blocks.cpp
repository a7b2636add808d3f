#include "platform/src/input_blocks.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

using namespace platform;

constexpr std::size_t blockSize = 64 * 1024;

/// The most memory that a connection keeps between two frames.
constexpr std::size_t mostKept = 2 * 1024 * 1024;

/// With less room than this after the last bytes a read would be too short.
constexpr std::size_t leastRoom = 1024;

/// The missing bytes of the incomplete frame; leastRoom when they are not known.
std::size_t InputBlocks::Missing() const
{
    FrameHeader header{};
    if (Unread() >= frameHeaderSize && !DecodeFrameHeader(current->bytes.get() + begin, header) &&
        header.length > Unread() - frameHeaderSize) {
        return header.length - (Unread() - frameHeaderSize);
    }
    return leastRoom;
}

/// \param bytes  the start of the block that is or will be the current one
void InputBlocks::MoveUnreadToStart(unsigned char* bytes)
{
    if (Unread() > 0) {
        std::memmove(bytes, current->bytes.get() + begin, Unread());
    }
    end -= begin;
    begin = 0;
}

bool InputBlocks::MoveUnreadToNewBlock(std::size_t capacity)
{
    try {
        auto block = std::make_shared<InputBlock>(capacity);
        MoveUnreadToStart(block->bytes.get());
        current = std::move(block);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

unsigned char* InputBlocks::Room(std::size_t& size)
{
    const bool isIdle = begin == end;
    const std::size_t missing = isIdle ? leastRoom : Missing();
    const bool isUnsuitable =
        !current || current->capacity < usualSize || (isIdle && current->capacity > mostKept);
    if (!isUnsuitable && current.use_count() == 1 && begin > 0 &&
        (isIdle || end + missing > current->capacity)) {
        MoveUnreadToStart(current->bytes.get());
    }
    if (isUnsuitable || current->capacity - end < std::min(leastRoom, missing)) {
        const std::size_t wanted = Unread() + std::min(missing, Unread());
        if (!MoveUnreadToNewBlock(std::max(usualSize, wanted))) {
            return nullptr;
        }
    }
    size = current->capacity - end;
    return current->bytes.get() + end;
}

void InputBlocks::Received(std::size_t count)
{
    end += count;
    if (end == current->capacity) {
        usualSize = blockSize;
    }
}

void InputBlocks::Trim()
{
    usualSize = firstBlockSize;
    if (!current || current->capacity <= std::max(firstBlockSize, 4 * Unread())) {
        return;
    }
    if (Unread() > 0) {
        MoveUnreadToNewBlock(std::max(firstBlockSize, 2 * Unread()));
    } else {
        current.reset();
        begin = end = 0;
    }
}

InputBlocks::Cut InputBlocks::Next(ReceivedFrame& frame, const char*& problem)
{
    if (Unread() < frameHeaderSize) {
        return Cut::NeedMore;
    }
    unsigned char* const bytes = current->bytes.get() + begin;
    problem = DecodeFrameHeader(bytes, frame.header);
    if (problem) {
        return Cut::Malformed;
    }
    if (frame.header.length > Unread() - frameHeaderSize) {
        return Cut::NeedMore;
    }
    frame.payload = bytes + frameHeaderSize;
    frame.block = current;
    begin += frameHeaderSize + frame.header.length;
    return Cut::Frame;
}
