// Test pattern of SubtitleMgrCli: a grid of segments, each in one solid value.

#include "cli/SubtitleMgrCli.h"

#include <RegionDataItem.h>

#include <cstddef>
#include <cstring>
#include <iostream>

namespace {

constexpr unsigned int regionWidth = 640;  // pixels in a line, a byte each
constexpr unsigned int regionHeight = 48;  // lines
constexpr unsigned int regionSize = regionWidth * regionHeight;

/// How many whole segments fit; none of size 0, which cannot be divided by.
unsigned int WholeSegments(unsigned int length, unsigned int segment)
{
    return segment == 0 ? 0 : length / segment;
}

void PaintSegment(unsigned char* topLeft, unsigned char value, unsigned int width,
                  unsigned int height)
{
    for (unsigned int line = 0; line < height; ++line) {
        std::memset(topLeft + std::size_t{line} * regionWidth, value, width);
    }
}

}  // namespace

/// Pixels that no segment covers keep their values; in a new record these are 0.
/// Kept on purpose: the values wrap at 256, but the heading counts every segment as a color.
void SubtitleMgrCli::GenerateTestPattern(RegionDataItem& item, unsigned char startValue,
                                         unsigned char increment, unsigned int segmentWidth,
                                         unsigned int segmentHeight)
{
    item.data.resize(regionSize);
    const unsigned int rows = WholeSegments(regionHeight, segmentHeight);
    const unsigned int columns = WholeSegments(regionWidth, segmentWidth);
    std::cout << "Generating test pattern: " << rows << " rows by " << columns << " columns,  "
              << rows * columns << " colors" << std::endl
              << std::endl;

    unsigned int value = startValue;
    for (unsigned int row = 0; row < rows; ++row) {
        for (unsigned int column = 0; column < columns; ++column) {
            const unsigned int offset = row * segmentHeight * regionWidth + column * segmentWidth;
            std::cout << "  " << offset;
            PaintSegment(&item.data[offset], static_cast<unsigned char>(value), segmentWidth,
                         segmentHeight);
            value += increment;
        }
    }
    std::cout << std::endl << std::endl;
}

// Kept on purpose: an empty hook; the dynamic test calls it when its shapes are on.
void SubtitleMgrCli::AddShapes(RegionDataItem&) {}
