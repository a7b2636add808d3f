#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace sim {

constexpr std::array<std::uint32_t, 256> MakeCrcTable()
{
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t remainder = byte;
        for (int bit = 0; bit < 8; ++bit) {
            remainder = (remainder >> 1) ^ ((remainder & 1) != 0 ? 0xEDB88320u : 0);
        }
        table[byte] = remainder;
    }
    return table;
}

/// The CRC-32 of IEEE 802.3, as zip and PNG use it; 0xcbf43926 for "123456789".
inline std::uint32_t Crc32(const unsigned char* bytes, std::size_t length)
{
    static constexpr std::array<std::uint32_t, 256> table = MakeCrcTable();
    std::uint32_t remainder = 0xFFFFFFFFu;
    for (std::size_t i = 0; i < length; ++i) {
        remainder = (remainder >> 8) ^ table[(remainder ^ bytes[i]) & 0xFF];
    }
    return ~remainder;
}

}  // namespace sim
