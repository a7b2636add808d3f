#include "console/log_entry.h"
#include "handlers/notification_handlers.h"
#include "records/received_record.h"

#include <PaletteItem.h>

#include <iomanip>
#include <iostream>
#include <new>
#include <vector>

namespace {

/// Shows the first and the last byte of a table of any length.
/// Kept on purpose: the form of an empty table has no blanks in front.
void PrintTable(const std::vector<unsigned char>& table)
{
    if (table.empty()) {
        std::cout << "[empty]  (";
        return;
    }
    const unsigned int first = table.front();
    const unsigned int last = table.back();
    std::cout << "  [0x" << std::hex << std::setw(2) << std::setfill('0') << first;
    std::cout << ",...,0x" << std::hex << std::setw(2) << std::setfill('0') << last << "]  (";
}

}  // namespace

// Kept on purpose: palettes have no counter, so the statistics are not called.
void handlePaletteUpdate(LinxIpc* ipc, void*)
{
    try {
        PaletteItem item;
        DecodeReceived(*ipc, item);

        const std::ios_base::fmtflags flags = std::cout.flags();
        std::cout << "*** PalettData:  " << static_cast<unsigned int>(item.regionId);
        PrintTable(item.paletteData);
        std::cout << std::dec << item.paletteData.size() << ")  ("
                  << (item.fill ? "Fill, " : "NoFill, ");
        std::cout << std::hex << static_cast<unsigned int>(item.backgroundCode) << ")";
        std::cout << std::endl << std::endl;
        // Kept on purpose: the flags are restored, the fill character stays '0'. Code that pads
        // with blanks sets it.
        std::cout.flags(flags);
    } catch (const std::bad_alloc&) {
        LogRefusedMemory(__LINE__, "a notification");
    }
}
