#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// The blocks of a capture in the format pcapng. Numbers are little-endian on every machine: from a
/// pipe, Wireshark takes only captures in its own byte order.
namespace view {

/// Wireshark refuses larger packets.
constexpr std::size_t largestPacket = 262144;

/// The first block. \param program  what writes the capture
std::string SectionBlock(const std::string& program);

/// The source of all packets: link type USER0, times in microseconds.
std::string InterfaceBlock(const std::string& name);

/// A packet of \p size bytes at \p wallUs, the time since 1970; \p bytes are the first of them.
std::string PacketBlock(std::int64_t wallUs, const std::string& bytes, std::size_t size);

}  // namespace view
