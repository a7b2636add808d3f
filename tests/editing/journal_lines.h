#pragma once

#include <string>
#include <vector>

using Lines = std::vector<std::string>;

// The journal's line of each request that the editing commands send; bytes stand there as their
// number and their CRC-32.

std::string RegionDataLine(unsigned region, const std::string& bytes);
std::string VisibilityLine(unsigned region, bool visible);
std::string PaletteLine(unsigned region, const std::string& bytes, unsigned background, bool fill);
std::string SensorLine(unsigned sensor, bool on);

/// The CRC-32 of IEEE 802.3 in eight lower-case hexadecimal digits; "cbf43926" for "123456789".
std::string HexCrc(const std::string& bytes);
