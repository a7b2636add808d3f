#include "console/log_entry.h"
#include "handlers/notification_handlers.h"
#include "records/received_record.h"
#include "stats/SubtitleStats.h"

#include <RegionVisItem.h>

#include <iostream>
#include <new>

void handleRegionVis(LinxIpc* ipc, void*)
{
    try {
        RegionVisItem item;
        DecodeReceived(*ipc, item);
        subtitleStats.AddRegionVis(item);

        std::cout << std::endl << std::endl;
        std::cout << "*** RegionVisi:  " << static_cast<unsigned int>(item.regionId) << "  "
                  << (item.visible ? "visible" : "NOT visible") << std::endl
                  << std::endl;
    } catch (const std::bad_alloc&) {
        LogRefusedMemory(__LINE__, "a notification");
    }
}
