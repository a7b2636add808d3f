// Console commands of SubtitleMgrCli on the bitmap of a region.

#include "cli/SubtitleMgrCli.h"
#include "console/prompts.h"

void SubtitleMgrCli::InvertRegionData()
{
    unsigned int regionId = 0;
    AskNumber("Enter region ID: ", regionId);
    DiscardOneCharacter();
    subtitleClient.InvertRegionData(regionId);
}
