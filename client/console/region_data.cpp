// Console commands of SubtitleMgrCli on the bitmap of a region.

#include "cli/SubtitleMgrCli.h"
#include "console/prompts.h"

#include <RegionDataItem.h>

// Kept on purpose: the record is sent whether or not the file could be read.
void SubtitleMgrCli::ModifyRegionData()
{
    unsigned int regionId = 0;
    unsigned int fileSize = 0;
    AskNumber("Enter region ID: ", regionId);
    const std::string fileName = AskWord("Enter filename:  ");
    AskNumber("Enter file size: ", fileSize);
    DiscardOneCharacter();

    RegionDataItem item;
    item.regionId = static_cast<unsigned char>(regionId);
    ReadFile(fileName, fileSize, item.data);
    subtitleClient.SetRegionData(item);
}

void SubtitleMgrCli::InvertRegionData()
{
    unsigned int regionId = 0;
    AskNumber("Enter region ID: ", regionId);
    DiscardOneCharacter();
    subtitleClient.InvertRegionData(regionId);
}
