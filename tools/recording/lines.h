#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>

/// The contents of the lines of a recording; subtitle-recording(5) describes their text.
namespace recording {

/// The number of the format that is written, and the largest that is read.
constexpr unsigned int formatNumber = 1;

/// Largest payload of a message, in bytes.
constexpr std::size_t largestData = 16u * 1024u * 1024u;

/// One moment on both clocks, in microseconds.
struct Moment {
    std::int64_t monoUs = 0;  ///< monotonic: never runs backwards
    std::int64_t wallUs = 0;  ///< since 1970; jumps when the clock is set
};

/// Bytes of a bitmap or palette, which another object owns. Without them the checksum is known.
struct Data {
    const unsigned char* bytes = nullptr;
    std::size_t size = 0;
    std::optional<std::uint32_t> crc32 = std::nullopt;  ///< of the bytes, where it is known

    bool AreThere() const { return bytes != nullptr || size == 0; }
};

/// The first line.
struct Header {
    Moment at;
    std::string writer;   ///< program and version
    std::string service;  ///< name of the service
};

/// What a message carries: each kind has the members that fields.h lists for it.
struct Content {
    unsigned int subscription = 0;
    unsigned int itemId = 0;
    unsigned int regionId = 0;
    unsigned int subtitleFormat = 0;
    unsigned int backgroundCode = 0;
    unsigned int sensor = 0;
    unsigned int level = 0;
    bool visible = false;
    bool fill = false;
    bool on = false;
    Data data;
};

enum class NotificationKind { RegionData, RegionVisibility, Palette };

/// A record that a service published.
struct Notification : Content {
    Moment at;
    NotificationKind kind = NotificationKind::RegionData;
    std::optional<unsigned int> receivers;  ///< how many subscribers; only the service knows
};

enum class RequestKind {
    Ping,
    Quit,
    Subscribe,
    Unsubscribe,
    SetRegionData,
    SetRegionVisibility,
    SetPaletteData,
    InvertRegionData,
    RefreshRegions,
    SendSensorUpdate,
    GetLogLevel,
    SetLogLevel,
};

enum class Result { Ok, Refused, Unanswered };

/// A request of a client.
struct Request : Content {
    Moment at;
    RequestKind kind = RequestKind::Ping;
    unsigned int client = 0;
    Result result = Result::Ok;
};

using AnyLine = std::variant<Header, Notification, Request>;

/// The subscription under which bitmaps of a stream format are published.
constexpr unsigned int SubscriptionOfFormat(unsigned int subtitleFormat)
{
    constexpr unsigned int otherFormats = 12;
    return subtitleFormat <= 2 ? 2 + subtitleFormat : otherFormats;
}
constexpr unsigned int visibilitySubscription = 6;
constexpr unsigned int paletteSubscription = 10;

}  // namespace recording
