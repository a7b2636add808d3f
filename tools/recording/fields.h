#pragma once

#include "recording/lines.h"

#include <limits>

/// The names of the format and the fields of each message, for the writer and the reader.
namespace recording {

/// A field of a message's content. Without a member it is the data, which has three fields: size,
/// crc32 and data.
struct ContentField {
    const char* name;
    unsigned int Content::*number;
    bool Content::*flag;
    unsigned int bit;
    unsigned int largest;
};

namespace has {
constexpr unsigned int subscription = 1u << 0;
constexpr unsigned int itemId = 1u << 1;
constexpr unsigned int regionId = 1u << 2;
constexpr unsigned int anyRegionId = 1u << 3;
constexpr unsigned int subtitleFormat = 1u << 4;
constexpr unsigned int data = 1u << 5;
constexpr unsigned int visible = 1u << 6;
constexpr unsigned int fill = 1u << 7;
constexpr unsigned int on = 1u << 8;
constexpr unsigned int backgroundCode = 1u << 9;
constexpr unsigned int sensor = 1u << 10;
constexpr unsigned int level = 1u << 11;
}  // namespace has

constexpr unsigned int largestByte = 255;
constexpr unsigned int largestNumber = std::numeric_limits<std::uint32_t>::max();

/// In the order in which they are written.
constexpr ContentField contentFields[] = {
    {"subscription", &Content::subscription, nullptr, has::subscription, largestNumber},
    {"itemId", &Content::itemId, nullptr, has::itemId, largestNumber},
    {"regionId", &Content::regionId, nullptr, has::regionId, largestByte},
    {"regionId", &Content::regionId, nullptr, has::anyRegionId, largestNumber},
    {"subtitleFormat", &Content::subtitleFormat, nullptr, has::subtitleFormat, largestByte},
    {nullptr, nullptr, nullptr, has::data, 0},
    {"visible", nullptr, &Content::visible, has::visible, 0},
    {"fill", nullptr, &Content::fill, has::fill, 0},
    {"on", nullptr, &Content::on, has::on, 0},
    {"backgroundCode", &Content::backgroundCode, nullptr, has::backgroundCode, largestByte},
    {"sensor", &Content::sensor, nullptr, has::sensor, largestNumber},
    {"level", &Content::level, nullptr, has::level, largestNumber},
};

struct KindRow {
    const char* name;
    unsigned int fields;  ///< bits of `has`
};

/// By NotificationKind.
constexpr KindRow notificationKinds[] = {
    {"RegionData", has::subscription | has::regionId | has::subtitleFormat | has::data},
    {"RegionVisibility", has::subscription | has::regionId | has::visible},
    {"Palette", has::subscription | has::regionId | has::data | has::fill | has::backgroundCode},
};

/// By RequestKind.
constexpr KindRow requestKinds[] = {
    {"Ping", 0},
    {"Quit", 0},
    {"Subscribe", has::subscription | has::itemId},
    {"Unsubscribe", has::subscription},
    {"SetRegionData", has::regionId | has::subtitleFormat | has::data},
    {"SetRegionVisibility", has::regionId | has::visible},
    {"SetPaletteData", has::regionId | has::data | has::fill | has::backgroundCode},
    {"InvertRegionData", has::anyRegionId},
    {"RefreshRegions", 0},
    {"SendSensorUpdate", has::on | has::sensor},
    {"GetLogLevel", 0},
    {"SetLogLevel", has::level},
};

/// By Result.
constexpr const char* resultNames[] = {"ok", "refused", "unanswered"};

/// The largest time: what every JSON reader keeps exact.
constexpr std::int64_t largestTime = 9007199254740991;

}  // namespace recording
