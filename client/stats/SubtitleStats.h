#pragma once

#include <vector>

class RegionDataItem;
class RegionVisItem;

/// Traffic counters of the subtitle regions: messages and bytes per region and stream format.
///
/// The handlers count on the receive thread while the console clears and displays on the main
/// thread. Kept on purpose: nothing is locked. A report may mix old and new values and a Clear()
/// may lose a count; these are statistics, not accounts.
class SubtitleStats {
public:
    /// The counters of one region. All four arrays have an entry for each counted format, see
    /// records/subtitle_formats.h, and wrap silently at 32 bits.
    class RegionStats {
    public:
        RegionStats();

        /// Zeroes the arrays in the storage they have; `visible` stays.
        void Clear();

        /// Adds the four arrays of \p other to these; `visible` is not combined.
        void Add(const RegionStats& other);

        void AddRegionData(RegionDataItem& item);

        /// Kept on purpose: an empty hook. The service's visibility is not tracked here.
        void AddRegionVis(RegionVisItem& item);

        /// Kept on purpose: an empty hook. The rows are printed by SubtitleStats::Display(), which
        /// knows the grand total that a share needs.
        void Display() const;

        std::vector<unsigned int> msgs;   ///< region-data messages received
        std::vector<unsigned int> bytes;  ///< their encoded sizes
        /// Kept on purpose: cleared and added like the others, counted up by nothing.
        std::vector<unsigned int> extraCountsA;
        std::vector<unsigned int> extraCountsB;
        /// Kept on purpose: the report's "(vis)" column, set by nothing, so it always shows F.
        bool visible;
    };

    /// \param count  number of regions; they are numbered from 1
    explicit SubtitleStats(unsigned int count);

    void Clear();

    /// Counts a received record; one with a region or format out of range is reported on standard
    /// output and dropped.
    void AddRegionData(RegionDataItem& item);
    void AddRegionVis(RegionVisItem& item);

    /// Prints the report on standard output; leaves fixed notation and precision 1 set there.
    void Display() const;

private:
    std::vector<RegionStats> regions;  ///< entry i is region number i + 1
    unsigned int regionCount;          ///< entries of `regions`
};

/// The statistics of this process; defined in cli/process_objects.cpp.
extern SubtitleStats subtitleStats;
