#pragma once

#include <string>

// What the console's file operations log: the level, a blank and the text behind the line number.
// Those of reading carry the name of an operation that the client does not have.

inline std::string Opened(const std::string& path)
{
    return "8 SubtitleRegion::UpdateRegionFile() - Successfully opened file " + path;
}

inline std::string NotOpened(const std::string& path)
{
    return "2 SubtitleRegion::UpdateRegionFile() - Error opening file " + path;
}

inline std::string ShortRead(unsigned count, unsigned size)
{
    return "2 SubtitleRegion::UpdateRegionFile() - Error reading file ( " + std::to_string(count) +
           " of " + std::to_string(size) + " )";
}

inline std::string OutputOpened(const std::string& path)
{
    return "8 Successfully opened output file " + path;
}

inline std::string OutputNotOpened(const std::string& path)
{
    return "2 Error opening output file " + path;
}

/// Of a palette file, the only kind that is written.
inline std::string ShortWrite(unsigned count)
{
    return "2 Error writing output file ( " + std::to_string(count) + " of 1024 )";
}
