#include "recording/crc32.h"

#include <array>

// Eight bytes a step. Eight tables have the remainders of a byte that 0 to 7 bytes follow, so the
// look-ups of a step do not wait for each other.

namespace recording {

namespace {

using Table = std::array<std::uint32_t, 256>;

constexpr std::array<Table, 16> MakeTables()
{
    constexpr std::uint32_t reversedPolynomial = 0xEDB88320u;
    std::array<Table, 16> tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t remainder = byte;
        for (int bit = 0; bit < 8; ++bit) {
            remainder = (remainder >> 1) ^ ((remainder & 1) != 0 ? reversedPolynomial : 0);
        }
        tables[0][byte] = remainder;
    }
    for (std::size_t zeros = 1; zeros < tables.size(); ++zeros) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t before = tables[zeros - 1][byte];
            tables[zeros][byte] = (before >> 8) ^ tables[0][before & 0xFF];
        }
    }
    return tables;
}

constexpr std::array<Table, 16> tables = MakeTables();

std::uint32_t LittleEndian(const unsigned char* bytes)
{
    return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

/// The remainder of four bytes that \p zeros zero bytes follow.
std::uint32_t RemainderOf(std::uint32_t word, std::size_t zeros)
{
    return tables[zeros + 3][word & 0xFF] ^ tables[zeros + 2][word >> 8 & 0xFF] ^
           tables[zeros + 1][word >> 16 & 0xFF] ^ tables[zeros][word >> 24];
}

}  // namespace

std::uint32_t Crc32(const unsigned char* bytes, std::size_t length)
{
    std::uint32_t remainder = 0xFFFFFFFFu;
    for (; length >= 16; bytes += 16, length -= 16) {
        remainder = RemainderOf(LittleEndian(bytes) ^ remainder, 12) ^
                    RemainderOf(LittleEndian(bytes + 4), 8) ^
                    RemainderOf(LittleEndian(bytes + 8), 4) ^
                    RemainderOf(LittleEndian(bytes + 12), 0);
    }
    for (; length > 0; ++bytes, --length) {
        remainder = (remainder >> 8) ^ tables[0][(remainder ^ *bytes) & 0xFF];
    }
    return ~remainder;
}

std::uint32_t Crc32(const Data& data)
{
    return data.crc32 ? *data.crc32 : Crc32(data.bytes, data.size);
}

}  // namespace recording
