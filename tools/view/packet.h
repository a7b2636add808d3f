#pragma once

#include "recording/lines.h"

#include <string>

namespace view {

/// A message of a recording as a packet of a capture, see docs/wire-format.md.
struct Packet {
    std::string bytes;     ///< the first ones, at most largestPacket
    std::size_t size = 0;  ///< of the whole packet
};

/// \param line  the message's line in the recording, from 1
Packet PacketOf(const recording::Notification& notification, std::size_t line);
Packet PacketOf(const recording::Request& request, std::size_t line);

}  // namespace view
