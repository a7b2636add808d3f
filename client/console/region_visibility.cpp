// Console command of SubtitleMgrCli that shows or hides a region.

#include "cli/SubtitleMgrCli.h"
#include "console/prompts.h"

#include <RegionVisItem.h>

void SubtitleMgrCli::ModifyRegionVisibility()
{
    unsigned int regionId = 0;
    AskNumber("Enter region ID: ", regionId);
    const bool visible = AskYesNo("Enter region visibility (t/f): ");
    DiscardOneCharacter();

    RegionVisItem item;
    item.regionId = static_cast<unsigned char>(regionId);
    item.visible = visible;
    subtitleClient.SetRegionVisibility(item);
}
