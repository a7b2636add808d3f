// Counting; stats/report.cpp prints the report.

#include "stats/SubtitleStats.h"

#include "records/subtitle_formats.h"

#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <cstddef>
#include <iostream>

namespace {

void AddEach(std::vector<unsigned int>& sums, const std::vector<unsigned int>& others)
{
    for (std::size_t format = 0; format < subtitle_formats::counted; ++format) {
        sums[format] += others[format];
    }
}

/// Kept on purpose: \p value is printed as the one raw character it is. Region 15 is the control
/// character 0x0F, and format 65 is an A.
void ReportOutOfRange(const char* operation, const char* what, unsigned char value)
{
    std::cout << operation << what << value << std::endl;
}

}  // namespace

SubtitleStats::RegionStats::RegionStats()
    : msgs(subtitle_formats::counted), bytes(subtitle_formats::counted),
      extraCountsA(subtitle_formats::counted), extraCountsB(subtitle_formats::counted),
      visible(false)
{
    Clear();
}

void SubtitleStats::RegionStats::Clear()
{
    msgs.assign(subtitle_formats::counted, 0);
    bytes.assign(subtitle_formats::counted, 0);
    extraCountsA.assign(subtitle_formats::counted, 0);
    extraCountsB.assign(subtitle_formats::counted, 0);
}

void SubtitleStats::RegionStats::Add(const RegionStats& other)
{
    AddEach(msgs, other.msgs);
    AddEach(bytes, other.bytes);
    AddEach(extraCountsA, other.extraCountsA);
    AddEach(extraCountsB, other.extraCountsB);
}

void SubtitleStats::RegionStats::AddRegionData(RegionDataItem& item)
{
    const unsigned char format = item.subtitleFormat;
    if (format > msgs.size() - 1) {
        ReportOutOfRange("AddRegionData", ": subtitleFormat out of range: ", format);
        return;
    }
    ++msgs[format];
    bytes[format] += item.EncodedSize();
}

void SubtitleStats::RegionStats::AddRegionVis(RegionVisItem&) {}

SubtitleStats::SubtitleStats(unsigned int count) : regions(count, RegionStats()), regionCount(count)
{
    Clear();
}

void SubtitleStats::Clear()
{
    for (RegionStats& region : regions) {
        region.Clear();
    }
}

// Kept on purpose, in both operations: region 0 is dropped without a message. Only numbers above
// the count are reported, and there is no entry for 0.

void SubtitleStats::AddRegionData(RegionDataItem& item)
{
    const unsigned char id = item.regionId;
    if (id > regions.size()) {
        ReportOutOfRange("AddRegionData", ": regionId out of range: ", id);
    } else if (id > 0) {
        regions[id - 1u].AddRegionData(item);
    }
}

void SubtitleStats::AddRegionVis(RegionVisItem& item)
{
    const unsigned char id = item.regionId;
    if (id > regions.size()) {
        ReportOutOfRange("AddRegionVis", ": regionId out of range: ", id);
    } else if (id > 0) {
        regions[id - 1u].AddRegionVis(item);
    }
}
