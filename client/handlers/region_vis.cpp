#include "handlers/notification_handlers.h"
#include "records/received_record.h"
#include "stats/SubtitleStats.h"

#include <RegionVisItem.h>

#include <iostream>

void handleRegionVis(LinxIpc* ipc, void*)
{
    RegionVisItem item;
    DecodeReceived(*ipc, item);
    subtitleStats.AddRegionVis(item);

    std::cout << std::endl << std::endl;
    std::cout << "*** RegionVisi:  " << static_cast<unsigned int>(item.regionId) << "  "
              << (item.visible ? "visible" : "NOT visible") << std::endl
              << std::endl;
}
