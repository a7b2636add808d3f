#pragma once

#include <map>
#include <string>

/// The texts of the client from tests/sessions/texts/.

std::string UsageText();

/// The menu with its first and last empty line, in each of its two states.
std::string SubscribedMenu();
std::string UnsubscribedMenu();

/// The statistics report.
///
/// \param rows        rows of regions with traffic, by region, without the newline
/// \param otherShare  the share of all other regions, 5 columns: "  nan" while no region has
///                    counted bytes, else "  0.0"
std::string RegionReport(const std::map<unsigned, std::string>& rows,
                         const std::string& otherShare);
inline std::string EmptyRegionReport() { return RegionReport({}, "  nan"); }
