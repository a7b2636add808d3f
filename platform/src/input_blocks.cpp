#include "platform/src/input_blocks.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace platform {

namespace {

constexpr std::size_t blockSize = 64 * 1024;

/// The first block of a connection, most of which see nothing but a few replies: fresh memory is
/// a good part of what a short connection costs.
constexpr std::size_t firstBlockSize = 1024;

/// Memory that a connection keeps between two frames.
constexpr std::size_t mostKept = 2 * 1024 * 1024;

/// With less room than this after the last bytes a read would be too short to be worth it.
constexpr std::size_t leastRoom = 1024;

}  // namespace

InputBlock::InputBlock(std::size_t size) : capacity(size), bytes(new unsigned char[size]) {}

/// What is still to come of the frame whose first bytes are here, as far as that is known.
std::size_t InputBlocks::Missing() const
{
    FrameHeader header{};
    if (Unread() >= frameHeaderSize && !DecodeFrameHeader(current->bytes.get() + begin, header) &&
        header.length > Unread() - frameHeaderSize) {
        return header.length - (Unread() - frameHeaderSize);
    }
    return leastRoom;
}

bool InputBlocks::MoveUnreadToFreshBlock(std::size_t capacity)
{
    if (!spare || spare.use_count() > 1 || spare->capacity < capacity) {
        try {
            spare = std::make_shared<InputBlock>(capacity);
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
    if (current) {
        std::memcpy(spare->bytes.get(), current->bytes.get() + begin, Unread());
    }
    current.swap(spare);
    if (spare && spare->capacity > mostKept) {
        spare.reset();  // the memory of a very large frame goes with it
    }
    end -= begin;
    begin = 0;
    return true;
}

InputBlocks::InputBlocks() : usualSize(firstBlockSize) {}

unsigned char* InputBlocks::Room(std::size_t& size)
{
    const bool isIdle = begin == end;
    if (!current || (isIdle && (current->capacity > mostKept || current->capacity < usualSize))) {
        if (!MoveUnreadToFreshBlock(usualSize)) {
            return nullptr;
        }
    }
    const std::size_t missing = Missing();
    const bool isAlone = current.use_count() == 1;
    if (isAlone && begin > 0 && (isIdle || end + missing > current->capacity)) {
        std::memmove(current->bytes.get(), current->bytes.get() + begin, Unread());
        end -= begin;
        begin = 0;
    }
    if (current->capacity - end < std::min(leastRoom, missing)) {
        const std::size_t wanted = Unread() + std::min(missing, Unread());
        if (!MoveUnreadToFreshBlock(std::max(usualSize, wanted))) {
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
    spare.reset();
    usualSize = firstBlockSize;
    if (!current || current->capacity <= std::max(firstBlockSize, 4 * Unread())) {
        return;
    }
    if (Unread() > 0) {
        MoveUnreadToFreshBlock(std::max(firstBlockSize, 2 * Unread()));
        spare.reset();
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

}  // namespace platform
