#include "tests/editing/journal_lines.h"

#include <cstdint>

namespace {

std::string Bool(bool value) { return value ? "true" : "false"; }

std::string Data(const std::string& bytes)
{
    return R"("size":)" + std::to_string(bytes.size()) + R"(,"crc32":")" + HexCrc(bytes) + '"';
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
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char c : bytes) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320 : 0);
        }
    }
    std::string digits;
    for (int shift = 28; shift >= 0; shift -= 4) {
        digits += "0123456789abcdef"[((crc ^ 0xFFFFFFFF) >> shift) & 15];
    }
    return digits;
}
