#pragma once

#include "simulator/clients/subscriptions.h"
#include "simulator/service/subtitle_service.h"

#include "platform/src/wire_format.h"
#include "recording/lines.h"

#include <string>

namespace sim {

/// A decoded request. One object serves all requests, so that its buffers are reused.
struct Request {
    recording::Request contents;  ///< its data are the bytes of a record, also of a moved one
    RegionDataItem bitmap;        ///< SetRegionData
    RegionVisItem visibility;     ///< SetRegionVisibility
    PaletteItem palette;          ///< SetPaletteData
};

/// Fills the fields of \p request that its message carries. Throws std::bad_alloc.
/// \return false when the frame is no request or not well-formed
bool DecodeRequest(const platform::FrameHeader& header, unsigned char* payload, Request& request);

/// Bytes of the reply: none, the result, or the result and the log level.
unsigned int ReplySize(const Request& request);

/// Whether its reply says that it was accepted or refused.
bool HasResult(const Request& request);

const char* NameOf(const Request& request);

/// For people, like `SetRegionData region 3, format 2, 30720 bytes`.
std::string Describe(const recording::Request& request);

/// Serves \p request of a peer that holds \p held; takes its record.
Outcome Serve(Request& request, SubtitleService& service, Subscriptions& held);

}  // namespace sim
