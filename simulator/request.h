#pragma once

#include "simulator/subscriptions.h"
#include "simulator/subtitle_service.h"

#include "platform/src/wire_format.h"

#include <string>

namespace sim {

/// A decoded request. Its message determines which fields have a meaning. One object serves all
/// requests, so that its buffers are reused.
struct Request {
    std::size_t row = 0;            ///< of its message in the table of request.cpp
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

/// Fills the fields of \p request that its message carries. Throws std::bad_alloc.
/// \return false when the frame is no request or not well-formed
bool DecodeRequest(const platform::FrameHeader& header, unsigned char* payload, Request& request);

/// Bytes of the reply: none, the result, or the result and the log level.
unsigned int ReplySize(const Request& request);

/// Whether its reply says that it was accepted or refused.
bool HasResult(const Request& request);

const char* NameOf(const Request& request);

/// For people, like `SetRegionData region 3, format 2, 30720 bytes`.
std::string Describe(const Request& request);

/// One line of the journal, a JSON object, without a line end.
std::string JournalLine(const Request& request);

/// Serves \p request of a peer that holds \p held; takes its record.
Outcome Serve(Request& request, SubtitleService& service, Subscriptions& held);

}  // namespace sim
