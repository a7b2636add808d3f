#include "simulator/frame_splitter.h"

namespace sim {

using namespace platform;

namespace {

/// Memory that a peer may hold on to between two frames.
constexpr std::size_t idleCapacity = 64 * 1024;

}  // namespace

void FrameSplitter::Offer(unsigned char* bytes, std::size_t length)
{
    if (kept.empty()) {
        current = bytes;
        left = length;
        return;
    }
    kept.insert(kept.end(), bytes, bytes + length);
    current = kept.data();
    left = kept.size();
}

FrameSplitter::Found FrameSplitter::Next(Frame& frame, const char*& problem)
{
    if (left < frameHeaderSize) {
        return Found::Nothing;
    }
    problem = DecodeFrameHeader(current, frame.header);
    if (problem) {
        return Found::Malformed;
    }
    // By subtraction: a sum with a length from outside could wrap.
    if (frame.header.length > left - frameHeaderSize) {
        return Found::Nothing;
    }
    frame.payload = current + frameHeaderSize;
    const std::size_t size = frameHeaderSize + frame.header.length;
    current += size;
    left -= size;
    return Found::Frame;
}

void FrameSplitter::Settle()
{
    if (kept.empty()) {
        if (left > 0) {
            kept.assign(current, current + left);
        }
    } else {
        kept.erase(kept.begin(), kept.end() - static_cast<std::ptrdiff_t>(left));
        if (kept.empty() && kept.capacity() > idleCapacity) {
            std::vector<unsigned char>().swap(kept);
        }
    }
    current = kept.data();
}

}  // namespace sim
