#pragma once

#include "simulator/outcome.h"
#include "simulator/subscriptions.h"

#include "platform/src/wire_format.h"
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <string>

namespace sim {

class SubtitleService;

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
    RegionDataItem bitmap;          ///< SetRegionData
    RegionVisItem visibility;       ///< SetRegionVisibility
    PaletteItem palette;            ///< SetPaletteData
};

/// Whether \p messageId is one that clients may send in a frame of that \p kind.
bool IsKnownRequest(platform::FrameKind kind, unsigned int messageId);

/// Bytes of the reply to a known request: none, its result, or its result and the log level.
unsigned int ReplySize(unsigned int messageId);

/// Fills the fields of \p request that the message carries; its bytes are well-formed, see
/// IsWellFormed(). Throws std::bad_alloc.
void DecodeRequest(unsigned int messageId, unsigned char* payload, Request& request);

/// For people, like `SetRegionData region 3, format 2, 30720 bytes`.
std::string Describe(const Request& request);

/// One line of the journal, a JSON object, without a line end.
std::string JournalLine(const Request& request);

/// Carries out \p request of a peer that holds \p held. The record that it carries goes to \p
/// service.
Outcome Serve(Request& request, SubtitleService& service, Subscriptions& held);

}  // namespace sim
