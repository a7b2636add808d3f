#include "tests/editing/journal_lines.h"

#include <array>
#include <cstdint>

namespace {

std::string Bool(bool value) { return value ? "true" : "false"; }

std::string Data(const std::string& bytes)
{
    return R"("size":)" + std::to_string(bytes.size()) + R"(,"crc32":")" + HexCrc(bytes) + '"';
}

std::array<std::uint32_t, 256> CrcOfEachByte()
{
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        table[byte] = byte;
        for (int bit = 0; bit < 8; ++bit) {
            table[byte] = (table[byte] >> 1) ^ ((table[byte] & 1) != 0 ? 0xEDB88320 : 0);
        }
    }
    return table;
}

}  // namespace

std::string RegionDataLine(unsigned region, const std::string& bytes)
{
    // The console never sets the format, which stays as the record's constructor has it.
    return R"({"request":"SetRegionData","regionId":)" + std::to_string(region) +
           R"(,"subtitleFormat":0,)" + Data(bytes) + '}';
}

std::string VisibilityLine(unsigned region, bool visible)
{
    return R"({"request":"SetRegionVisibility","regionId":)" + std::to_string(region) +
           R"(,"visible":)" + Bool(visible) + '}';
}

std::string PaletteLine(unsigned region, const std::string& bytes, unsigned background, bool fill)
{
    return R"({"request":"SetPaletteData","regionId":)" + std::to_string(region) + ',' +
           Data(bytes) + R"(,"fill":)" + Bool(fill) + R"(,"backgroundCode":)" +
           std::to_string(background) + '}';
}

std::string SensorLine(unsigned sensor, bool on)
{
    return R"({"request":"SendSensorUpdate","on":)" + Bool(on) + R"(,"sensor":)" +
           std::to_string(sensor) + '}';
}

std::string HexCrc(const std::string& bytes)
{
    static const std::array<std::uint32_t, 256> table = CrcOfEachByte();
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char c : bytes) {
        crc = (crc >> 8) ^ table[(crc ^ static_cast<unsigned char>(c)) & 0xFF];
    }
    std::string digits;
    for (int shift = 28; shift >= 0; shift -= 4) {
        digits += "0123456789abcdef"[((crc ^ 0xFFFFFFFF) >> shift) & 15];
    }
    return digits;
}
