#include "console/log_entry.h"
#include "handlers/notification_handlers.h"
#include "handlers/pixel_histogram.h"
#include "records/received_record.h"
#include "records/subtitle_formats.h"
#include "stats/SubtitleStats.h"

#include <RegionDataItem.h>

#include <cstdio>
#include <new>

// printf() here, std::cout in the other handlers: both share one buffer, so the lines stay in
// order.

namespace {

void ReportUnexpected(unsigned char value)
{
    std::printf("Unexpected subtitle data value: 0x%02x\n", static_cast<unsigned int>(value));
}

}  // namespace

void HandleRegionData(LinxIpc* ipc, void*)
{
    try {
        RegionDataItem item;
        DecodeReceived(*ipc, item);
        subtitleStats.AddRegionData(item);
        if (item.subtitleFormat != subtitle_formats::cif) {
            return;
        }

        const PixelCounts counts =
            CountPixels(item.data.data(), item.data.size(), ReportUnexpected);
        std::printf("CLI: Process region %2d (%d):  0=%5u   1=%5u   2=%5u   3=%5u\n", item.regionId,
                    item.subtitleFormat, counts[0], counts[1], counts[2], counts[3]);
    } catch (const std::bad_alloc&) {
        LogRefusedMemory(__LINE__, "a notification");
    }
}
