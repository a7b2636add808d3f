#pragma once

#include "platform/src/wire_format.h"
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <string>

namespace sim {

/// A request as it was understood. Which fields mean anything depends on the message; one object
/// is used again and again, so that its buffers are.
struct Request {
    unsigned int messageId = 0;
    unsigned int subscription = 0;  ///< Subscribe, Unsubscribe
    unsigned int itemId = 0;        ///< Subscribe
    unsigned int regionId = 0;      ///< InvertRegionData
    unsigned int sensor = 0;        ///< SendSensorUpdate
    bool on = false;                ///< SendSensorUpdate
    unsigned int level = 0;         ///< SetLogLevel
    RegionDataItem regionData;      ///< SetRegionData
    RegionVisItem visibility;       ///< SetRegionVisibility
    PaletteItem palette;            ///< SetPaletteData
};

/// Name of a message that clients may send, null when there is no such message.
const char* RequestName(unsigned int messageId);

/// Whether \p messageId is one that clients may send in a frame of that \p kind.
bool IsKnownRequest(platform::FrameKind kind, unsigned int messageId);

/// Fills the fields of \p request that the message \p messageId carries.
/// \param payload  well-formed, see IsWellFormed()
void DecodeRequest(unsigned int messageId, unsigned char* payload, Request& request);

/// For people, like `SetRegionData region 3, format 2, 30720 bytes`.
std::string Describe(const Request& request);

}  // namespace sim
