#pragma once

#include <map>
#include <string>

/// The texts of the client that tests/sessions/texts/ holds.

std::string UsageText();

/// The menu from its empty line to its empty line, in each of its two states.
std::string SubscribedMenu();
std::string UnsubscribedMenu();

/// What key 1 prints when the service accepts everything.
std::string AcceptedSubscriptions();

/// The statistics report.
///
/// \param rows        rows of regions with traffic, by region, without the newline
/// \param otherShare  the share of all other regions, 5 columns: "  nan" as long as no bytes have
///                    been counted in any region, else "  0.0"
std::string RegionReport(const std::map<unsigned, std::string>& rows,
                         const std::string& otherShare);
inline std::string EmptyRegionReport() { return RegionReport({}, "  nan"); }
