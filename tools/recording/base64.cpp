#include "recording/base64.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace recording {

namespace {

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Two characters for each value of 12 bits: half of three bytes.
constexpr std::array<char, 2 * 4096> MakePairs()
{
    std::array<char, 2 * 4096> pairs{};
    for (std::size_t value = 0; value < 4096; ++value) {
        pairs[2 * value] = alphabet[value >> 6];
        pairs[2 * value + 1] = alphabet[value & 63];
    }
    return pairs;
}

constexpr std::array<char, 2 * 4096> pairs = MakePairs();

// The 6 bits of a character, at each of the four places of a group of 24.
using Places = std::array<std::array<std::uint32_t, 256>, 4>;
constexpr std::uint32_t notBase64 = 0x80000000u;

constexpr Places MakePlaces()
{
    Places places{};
    for (std::size_t place = 0; place < 4; ++place) {
        for (std::uint32_t& bits : places[place]) {
            bits = notBase64;
        }
        for (std::uint32_t value = 0; value < 64; ++value) {
            places[place][static_cast<unsigned char>(alphabet[value])] = value << (18 - 6 * place);
        }
    }
    return places;
}

constexpr Places places = MakePlaces();

std::uint32_t BigEndian(const unsigned char* bytes)
{
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | bytes[3];
}

/// Writes the low 12 bits as two characters.
void StorePair(std::uint64_t bits, char* text)
{
    std::memcpy(text, &pairs[2 * static_cast<std::size_t>(bits & 0xFFF)], 2);
}

void EncodeGroup(std::uint32_t bits, char* text)
{
    StorePair(bits >> 12, text);
    StorePair(bits, text + 2);
}

std::uint32_t DecodeGroup(const char* text)
{
    const auto bits = [text](std::size_t place) {
        return places[place][static_cast<unsigned char>(text[place])];
    };
    return bits(0) | bits(1) | bits(2) | bits(3);
}

void StoreGroup(std::uint32_t bits, char* bytes)
{
    bytes[0] = static_cast<char>(bits >> 16 & 0xFF);
    bytes[1] = static_cast<char>(bits >> 8 & 0xFF);
    bytes[2] = static_cast<char>(bits & 0xFF);
}

}  // namespace

void EncodeBase64(const unsigned char* bytes, std::size_t size, char* text)
{
    // Two groups of three bytes, as long as eight can be read at once.
    for (; size >= 8; bytes += 6, size -= 6, text += 8) {
        const std::uint64_t bits = std::uint64_t{BigEndian(bytes)} << 32 | BigEndian(bytes + 4);
        StorePair(bits >> 52, text);
        StorePair(bits >> 40, text + 2);
        StorePair(bits >> 28, text + 4);
        StorePair(bits >> 16, text + 6);
    }
    for (; size >= 3; bytes += 3, size -= 3, text += 4) {
        EncodeGroup(std::uint32_t{bytes[0]} << 16 | std::uint32_t{bytes[1]} << 8 | bytes[2], text);
    }
    if (size > 0) {
        const std::uint32_t second = size == 2 ? bytes[1] : 0;
        EncodeGroup(std::uint32_t{bytes[0]} << 16 | second << 8, text);
        text[2] = size == 2 ? text[2] : '=';
        text[3] = '=';
    }
}

bool DecodeBase64(char* text, std::size_t size, std::size_t& decoded)
{
    if (size % 4 != 0) {
        return false;
    }
    char* bytes = text;
    std::uint32_t all = 0;
    const std::size_t padded = size > 0 && text[size - 1] == '=' ? 4 : 0;
    for (const char* const end = text + size - padded; text != end; text += 4, bytes += 3) {
        const std::uint32_t bits = DecodeGroup(text);
        all |= bits;
        StoreGroup(bits, bytes);
    }
    decoded = size / 4 * 3;
    if (padded != 0) {
        const std::size_t missing = text[2] == '=' ? 2 : 1;
        char group[4] = {text[0], text[1], missing == 2 ? 'A' : text[2], 'A'};
        const std::uint32_t bits = DecodeGroup(group);
        const std::uint32_t unused = missing == 2 ? 0xFFFF : 0xFF;
        all |= (bits & unused) != 0 ? notBase64 : bits;
        StoreGroup(bits, group);
        std::memcpy(bytes, group, 3 - missing);
        decoded -= missing;
    }
    return (all & notBase64) == 0;
}

}  // namespace recording
