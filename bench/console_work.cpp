#include "bench/measures.h"
#include "bench/table.h"
#include "cli/SubtitleMgrCli.h"

#include <PaletteItem.h>
#include <RegionDataItem.h>

#include <iostream>
#include <vector>

// The console's own work, test pattern and palette conversion, each compared with plain code for
// its parts. Standard output is /dev/null.

namespace {

constexpr unsigned int width = 640;
constexpr unsigned int height = 48;
constexpr unsigned int paletteSize = 1024;

void FillPlainly(std::vector<unsigned char>& pixels)
{
    unsigned char value = 0;
    for (unsigned char& pixel : pixels) {
        pixel = value++;
    }
}

void PrintPlainly()
{
    for (unsigned int offset = 0; offset < width * height; ++offset) {
        std::cout << "  " << offset;
    }
    std::cout << std::endl << std::endl;
}

void ConvertPlainly(std::vector<unsigned char>& table)
{
    for (std::size_t i = 0; i < table.size(); i += 4) {
        const int b = table[i];
        const int g = table[i + 1];
        const int r = table[i + 2];
        table[i] = static_cast<unsigned char>(((3176 * b + 16425 * g + 8432 * r) >> 15) + 16);
        table[i + 1] = static_cast<unsigned char>((14345 * b - 9527 * g - 4818 * r) / 32768 + 128);
        table[i + 2] =
            static_cast<unsigned char>((-2300 * b - 12045 * g + 14345 * r) / 32768 + 128);
    }
}

void MeasureTestPattern(Table& table)
{
    SubtitleMgrCli client;
    RegionDataItem item;
    std::vector<unsigned char> pixels(width * height);
    const Side ours = MeanTime([&] { client.GenerateTestPattern(item, 0, 1, 1, 1); });
    table.AddTime("test pattern of 1 x 1 segments", "the fill, nothing printed",
                  ComparePairs(MeanTime([&] { FillPlainly(pixels); }), ours));
    table.AddTime("  the same", "the text, nothing filled",
                  ComparePairs(MeanTime(PrintPlainly), ours));
}

void MeasurePalette(Table& table)
{
    SubtitleMgrCli client;
    PaletteItem item;
    item.paletteData.resize(paletteSize);
    std::vector<unsigned char> entries(paletteSize);
    const Side ours = MeanTime([&] { client.ConvertPalette(item); });
    table.AddTime("palette conversion, 256 entries", "the formula, nothing printed",
                  ComparePairs(MeanTime([&] { ConvertPlainly(entries); }), ours));
}

}  // namespace

void MeasureConsoleWork(Table& table)
{
    MeasureTestPattern(table);
    MeasurePalette(table);
}
