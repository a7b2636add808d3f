#include "tests/editing/expected_bytes.h"

#include <cmath>

namespace {

constexpr unsigned regionWidth = 640;
constexpr unsigned regionHeight = 48;

char Byte(double value) { return static_cast<char>(static_cast<unsigned char>(value)); }

}  // namespace

// Each pixel is asked which segment it lies in, while the client paints segment after segment.
PatternPass PaintPattern(const std::string& before, unsigned start, unsigned increment,
                         unsigned width, unsigned height)
{
    const unsigned rows = height > 0 ? regionHeight / height : 0;
    const unsigned columns = width > 0 ? regionWidth / width : 0;
    PatternPass pass;
    pass.bytes = before;
    pass.bytes.resize(regionWidth * regionHeight);
    pass.text = "Generating test pattern: " + std::to_string(rows) + " rows by " +
                std::to_string(columns) + " columns,  " + std::to_string(rows * columns) +
                " colors\n\n";
    if (rows > 0 && columns > 0) {
        for (unsigned y = 0; y < rows * height; ++y) {
            for (unsigned x = 0; x < columns * width; ++x) {
                const unsigned segment = y / height * columns + x / width;
                if (y % height == 0 && x % width == 0) {
                    pass.text += "  " + std::to_string(y * regionWidth + x);
                }
                pass.bytes[y * regionWidth + x] = Byte((start + segment * increment) % 256);
            }
        }
    }
    pass.text += "\n\n";
    return pass;
}

// In floating point, where the client shifts and divides integers: 32768 divides exactly.
std::string ConvertedPalette(const std::string& table)
{
    std::string converted = table;
    for (std::size_t at = 0; at + 4 <= table.size(); at += 4) {
        const double blue = static_cast<unsigned char>(table[at]);
        const double green = static_cast<unsigned char>(table[at + 1]);
        const double red = static_cast<unsigned char>(table[at + 2]);
        const double y = 3176 * blue + 16425 * green + 8432 * red;
        const double cb = 14345 * blue - 9527 * green - 4818 * red;
        const double cr = -2300 * blue - 12045 * green + 14345 * red;
        converted[at] = Byte(std::floor(y / 32768) + 16);
        converted[at + 1] = Byte(std::trunc(cb / 32768) + 128);
        converted[at + 2] = Byte(std::trunc(cr / 32768) + 128);
    }
    return converted;
}
