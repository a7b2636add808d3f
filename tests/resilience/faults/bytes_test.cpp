// Every value of each byte or number from outside, in the functions that check it first.

#include "platform/src/wire_format.h"
#include "records/subtitle_formats.h"
#include "stats/SubtitleStats.h"
#include "tests/harness/RawPeer.h"

#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <gtest/gtest.h>

#include <cstring>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

using namespace platform;

namespace {

bool IsAccepted(const std::string& header)
{
    FrameHeader decoded{};
    const auto* bytes = reinterpret_cast<const unsigned char*>(header.data());
    return DecodeFrameHeader(bytes, decoded) == nullptr;
}

/// Checks a header by the published layout only.
bool IsGood(const std::string& header)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(header[i]); };
    const bool isSmall =
        byte(12) == 0 || (byte(12) == 1 && byte(13) == 0 && byte(14) == 0 && byte(15) == 0);
    return byte(0) == 'S' && byte(1) == 'T' && byte(2) == 1 && byte(3) >= 1 && byte(3) <= 4 &&
           isSmall;
}

std::string HeaderWithLength(unsigned length)
{
    return Bytes({'S', 'T', 1, 3}) + U32(15132) + U32(6) + U32(length);
}

TEST(FrameHeader, IsCheckedInEachByte)
{
    for (std::size_t at = 0; at < frameHeaderSize; ++at) {
        for (unsigned value = 0; value < 256; ++value) {
            std::string header = HeaderWithLength(2);
            header[at] = static_cast<char>(static_cast<unsigned char>(value));
            ASSERT_EQ(IsAccepted(header), IsGood(header)) << "byte " << at << " is " << value;
        }
    }
}

TEST(FrameHeader, IsRefusedWithALengthNearTheLimits)
{
    for (unsigned low = 0; low < 256; ++low) {
        for (const unsigned base : {0xFFFFFF00u, 0x80000000u, 0x7FFFFF00u, 0x01000001u}) {
            ASSERT_FALSE(IsAccepted(HeaderWithLength(base + low))) << base + low;
        }
    }
}

/// Decodes from a buffer of exactly the payload's size, so that a sanitizer reports a read of one
/// byte too many.
template <typename Record>
std::string Again(const std::string& payload)
{
    const std::unique_ptr<unsigned char[]> exact(new unsigned char[payload.size()]);
    std::memcpy(exact.get(), payload.data(), payload.size());
    Record record;
    record.Decode(exact.get());
    const std::unique_ptr<unsigned char[]> encoded(new unsigned char[record.EncodedSize()]);
    record.Encode(encoded.get());
    return {reinterpret_cast<char*>(encoded.get()), record.EncodedSize()};
}

TEST(AcceptedRecord, IsReadWithinItsPayload)
{
    for (unsigned size = 0; size <= 300; ++size) {
        const std::string data(size, '\7');
        const std::string region = Bytes({255, 254}) + U32(size) + data;
        const std::string palette = Bytes({9, 250, 1}) + U32(size) + data;
        ASSERT_EQ(Again<RegionDataItem>(region), region);
        ASSERT_EQ(Again<PaletteItem>(palette), palette);
    }
    for (unsigned value = 0; value < 256; ++value) {
        ASSERT_EQ(Again<RegionVisItem>(Bytes({value, value})), Bytes({value, value != 0}));
    }
}

TEST(RegionAndFormat, AreCountedOrReportedForEveryPair)
{
    std::ostringstream captured;
    std::streambuf* const before = std::cout.rdbuf(captured.rdbuf());
    SubtitleStats stats(14);
    for (unsigned region = 0; region < 256; ++region) {
        for (unsigned format = 0; format < 256; ++format) {
            RegionDataItem item;
            item.regionId = static_cast<unsigned char>(region);
            item.subtitleFormat = static_cast<unsigned char>(format);
            captured.str("");
            stats.AddRegionData(item);
            const bool isReported = region > 14 || (region > 0 && format > 3);
            ASSERT_EQ(!captured.str().empty(), isReported) << region << " " << format;
        }
    }
    std::cout.rdbuf(before);
}

}  // namespace
