#include "simulator/crc32.h"

#include <array>

namespace sim {

namespace {

constexpr std::uint32_t reversedPolynomial = 0xEDB88320u;

constexpr std::array<std::uint32_t, 256> MakeTable()
{
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t remainder = byte;
        for (int bit = 0; bit < 8; ++bit) {
            remainder = (remainder >> 1) ^ ((remainder & 1) != 0 ? reversedPolynomial : 0);
        }
        table[byte] = remainder;
    }
    return table;
}

constexpr std::array<std::uint32_t, 256> table = MakeTable();

}  // namespace

std::uint32_t Crc32(const unsigned char* bytes, std::size_t length)
{
    std::uint32_t remainder = 0xFFFFFFFFu;
    for (std::size_t i = 0; i < length; ++i) {
        remainder = (remainder >> 8) ^ table[(remainder ^ bytes[i]) & 0xFF];
    }
    return ~remainder;
}

}  // namespace sim
