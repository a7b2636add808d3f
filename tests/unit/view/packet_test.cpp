#include "view/packet.h"
#include "tests/harness/frames.h"
#include "tests/harness/text_compare.h"
#include "view/pcapng.h"

using namespace view;
using recording::NotificationKind;
using recording::RequestKind;

namespace {

const std::string pixels = Bytes({0, 3, 255});
const recording::Data data{reinterpret_cast<const unsigned char*>(pixels.data()), 3};

constexpr std::int64_t monoUs = 0x01020304050607;

/// The bytes before the frame of a message in line 9, at monoUs.
std::string Prefix(unsigned int result, unsigned int peers)
{
    return "SR" + Bytes({1, result}) + U32(peers) + Bytes({0, 1, 2, 3, 4, 5, 6, 7, 0, 0, 0, 9});
}

recording::Notification Notification(NotificationKind kind)
{
    recording::Notification line;
    line.kind = kind;
    line.at.monoUs = monoUs;
    line.subscription = 77;
    line.regionId = 14;
    line.subtitleFormat = 2;
    line.backgroundCode = 31;
    line.fill = true;
    line.visible = true;
    line.data = data;
    return line;
}

TEST(Packet, HasTheFrameOfANotification)
{
    const struct {
        NotificationKind kind;
        unsigned int id;
        std::string record;
    } rows[] = {
        {NotificationKind::RegionData, 0x3B19, RegionDataRecord(14, 2, pixels)},
        {NotificationKind::RegionVisibility, 0x3B1C, VisibilityRecord(14, true)},
        {NotificationKind::Palette, 0x3B1D, PaletteRecord(14, 31, true, pixels)},
    };
    for (const auto& row : rows) {
        const Packet packet = PacketOf(Notification(row.kind), 9);
        EXPECT_TEXT(packet.bytes,
                    Prefix(255, 0xFFFFFFFF) + NotificationBytes(77, row.id, row.record));
        EXPECT_EQ(packet.size, packet.bytes.size());
    }
    recording::Notification counted = Notification(NotificationKind::RegionVisibility);
    counted.receivers = 3;
    EXPECT_TEXT(PacketOf(counted, 9).bytes.substr(0, 20), Prefix(255, 3));
}

recording::Request Request(RequestKind kind)
{
    recording::Request line;
    static_cast<recording::Content&>(line) = Notification(NotificationKind::RegionData);
    line.kind = kind;
    line.at.monoUs = monoUs;
    line.client = 5;
    line.subscription = 4;
    line.itemId = 0x3B19;
    line.sensor = 5;
    line.on = true;
    line.level = 63;
    return line;
}

TEST(Packet, HasTheFramesOfARequest)
{
    const std::string result = U32(0);
    const struct {
        RequestKind kind;
        unsigned int id;
        std::string payload;
        std::optional<std::string> reply;
    } rows[] = {
        {RequestKind::Ping, 0x3B01, "", ""},
        {RequestKind::Subscribe, 0x3C00, U32(4) + U32(0x3B19), result},
        {RequestKind::Unsubscribe, 0x3C02, U32(4), result},
        {RequestKind::SetRegionData, 0x3C04, RegionDataRecord(14, 2, pixels), result},
        {RequestKind::SetRegionVisibility, 0x3C06, VisibilityRecord(14, true), result},
        {RequestKind::SetPaletteData, 0x3C08, PaletteRecord(14, 31, true, pixels), result},
        {RequestKind::InvertRegionData, 0x3C0A, U32(14), result},
        {RequestKind::RefreshRegions, 0x3C0C, "", result},
        {RequestKind::SendSensorUpdate, 0x3C0E, U32(5) + Bytes({1}), result},
        {RequestKind::GetLogLevel, 0x3C10, "", {}},
        {RequestKind::SetLogLevel, 0x3C12, U32(63), result},
    };
    for (const auto& row : rows) {
        const Packet packet = PacketOf(Request(row.kind), 9);
        const std::string reply =
            row.reply ? FrameBytes(FrameKind::Reply, row.id + 1, 9, *row.reply) : "";
        EXPECT_TEXT(packet.bytes,
                    Prefix(0, 5) + FrameBytes(FrameKind::Request, row.id, 9, row.payload) + reply);
        EXPECT_EQ(packet.size, packet.bytes.size());
    }
    EXPECT_TEXT(PacketOf(Request(RequestKind::Quit), 9).bytes,
                Prefix(0, 5) + FrameBytes(FrameKind::OneWay, 0x3B00, 0, ""));
}

TEST(Packet, HasTheResult)
{
    recording::Request request = Request(RequestKind::RefreshRegions);
    const std::string frame = FrameBytes(FrameKind::Request, 0x3C0C, 9, "");
    request.result = recording::Result::Refused;
    EXPECT_TEXT(PacketOf(request, 9).bytes,
                Prefix(1, 5) + frame + FrameBytes(FrameKind::Reply, 0x3C0D, 9, U32(1)));
    request.result = recording::Result::Unanswered;
    EXPECT_TEXT(PacketOf(request, 9).bytes, Prefix(2, 5) + frame);
}

TEST(Packet, IsCutWhereTheRecordingHasNoBytes)
{
    recording::Request request = Request(RequestKind::SetRegionData);
    const Packet whole = PacketOf(request, 9);
    request.data.bytes = nullptr;
    const Packet packet = PacketOf(request, 9);
    EXPECT_TEXT(packet.bytes, whole.bytes.substr(0, 20 + 16 + 6));
    EXPECT_EQ(packet.size, whole.size);
}

TEST(Packet, IsCutAtTheLargestSize)
{
    const std::string many(largestPacket, 'x');
    recording::Notification bitmap = Notification(NotificationKind::RegionData);
    bitmap.data = {reinterpret_cast<const unsigned char*>(many.data()), many.size()};
    const Packet packet = PacketOf(bitmap, 9);
    EXPECT_EQ(packet.bytes.size(), 262144u);
    EXPECT_EQ(packet.size, 262144u + 20 + 16 + 6);
}

}  // namespace
