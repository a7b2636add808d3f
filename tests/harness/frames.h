#pragma once

#include "simulator/service/notification.h"
#include "tests/harness/RawPeer.h"

#include "platform/src/wire_format.h"
#include <RegionDataItem.h>

#include <string>

using namespace platform;
using namespace sim;

/// Encoded records, made without the code under test.
inline std::string RegionDataRecord(unsigned int region, unsigned int format,
                                    const std::string& pixels)
{
    return Bytes({region, format}) + U32(static_cast<unsigned int>(pixels.size())) + pixels;
}

inline std::string VisibilityRecord(unsigned int region, bool visible)
{
    return Bytes({region, visible ? 1u : 0u});
}

inline std::string PaletteRecord(unsigned int region, unsigned int background, bool fill,
                                 const std::string& entries)
{
    return Bytes({region, background, fill ? 1u : 0u}) +
           U32(static_cast<unsigned int>(entries.size())) + entries;
}

/// The bytes of a frame for a publication.
inline std::string BytesOf(const SharedFrame& frame) { return {frame->begin(), frame->end()}; }

inline std::string NotificationBytes(unsigned int subscription, unsigned int itemId,
                                     const std::string& record)
{
    return FrameBytes(FrameKind::Notification, itemId, subscription, record);
}

/// Lines of recordings, made without the code under test.
inline const std::string recordingHeader =
    R"({"subtitleRecording":1,"writer":"w","service":"S","wallUs":0,"monoUs":0})"
    "\n";

inline std::string RecordingLine(const std::string& fields, int monoUs = 0)
{
    return R"({"monoUs":)" + std::to_string(monoUs) + R"(,"wallUs":0,)" + fields + "}\n";
}

inline std::string VisibilityLine(unsigned int region, int monoUs = 0)
{
    return RecordingLine(
        R"("notification":"RegionVisibility","subscription":6,"visible":true,"regionId":)" +
            std::to_string(region),
        monoUs);
}
