#pragma once

#include "recording/lines.h"

#include <cstddef>
#include <cstdint>

namespace recording {

/// The CRC-32 of IEEE 802.3, as zip and PNG use it; 0xcbf43926 for "123456789".
std::uint32_t Crc32(const unsigned char* bytes, std::size_t length);

/// The checksum of \p data: the known one, else that of its bytes.
std::uint32_t Crc32(const Data& data);

}  // namespace recording
