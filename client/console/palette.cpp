// Console command of SubtitleMgrCli that sends a palette, converting an RGB table first.

#include "cli/SubtitleMgrCli.h"
#include "console/prompts.h"

#include <PaletteItem.h>

#include <cstddef>
#include <iostream>

namespace {

constexpr unsigned int fullTableSize = 1024;  // 256 entries of 4 bytes

/// Asks for the transparent entry and sets its Y to 0, which no conversion yields.
void MarkTransparentEntry(std::vector<unsigned char>& table)
{
    std::cout << std::endl;
    if (!AskYesNo("Transparent pixel? (t/f): ")) {
        return;
    }
    unsigned int value = 0;
    AskNumber("Transparent pixel value:   ", value);
    if (value > 255) {
        std::cout << std::endl << "ERROR: pixel value out of range" << std::endl << std::endl;
        return;
    }
    const std::size_t offset = std::size_t{value} * 4;
    // A table that could not be read has no such entry.
    if (offset < table.size()) {
        table[offset] = 0;
    }
}

void AskSettings(PaletteItem& item)
{
    unsigned int backgroundCode = 0;
    AskNumber("Background code:   ", backgroundCode);
    item.fill = AskYesNo("Region Fill (t/f): ");
    item.backgroundCode = static_cast<unsigned char>(backgroundCode);
}

}  // namespace

// Kept on purpose: the record is sent, and an RGB table converted and written, whether or not the
// file could be read.
void SubtitleMgrCli::ModifyPaletteData()
{
    unsigned int regionId = 0;
    AskNumber("Enter region ID:   ", regionId);
    const std::string fileName = AskWord("Enter filename:    ");
    const bool isRgb = AskYesNo("RGB palette (t/f): ");

    PaletteItem item;
    item.regionId = static_cast<unsigned char>(regionId);
    ReadFile(fileName, fullTableSize, item.paletteData);
    if (isRgb) {
        ConvertPalette(item);
        MarkTransparentEntry(item.paletteData);
        item.backgroundCode = 1;
        item.fill = false;
        // Kept on purpose: file names end at a NUL byte. After one, ".out" is lost, and the table
        // replaces the file that it was read from.
        WriteFile(fileName + ".out", fullTableSize, item.paletteData);
    } else {
        AskSettings(item);
    }
    DiscardOneCharacter();
    subtitleClient.SetPaletteData(item);
}
