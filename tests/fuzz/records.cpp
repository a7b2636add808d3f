// Any bytes as a record of each kind: well-formed ones are decoded and encoded again.

#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/reference_frames.h"

#include "platform/src/wire_format.h"
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <vector>

using namespace platform;

namespace {

using Bytes = std::vector<unsigned char>;

unsigned int ByteAt(const std::string& payload, std::size_t at)
{
    return static_cast<unsigned char>(payload.at(at));
}

std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

void CheckFields(const RegionDataItem& record, std::string& payload)
{
    Require(record.regionId == ByteAt(payload, 0), "a wrong region");
    Require(record.subtitleFormat == ByteAt(payload, 1), "a wrong format");
    RequireEqual(Text(record.data), payload.substr(6), "other pixels");
}

void CheckFields(const RegionVisItem& record, std::string& payload)
{
    payload[1] = payload[1] == '\0' ? '\0' : '\x01';  // the encoder writes true as 1
    Require(record.regionId == ByteAt(payload, 0), "a wrong region");
    Require(record.visible == (payload[1] == '\x01'), "a wrong visibility");
}

void CheckFields(const PaletteItem& record, std::string& payload)
{
    payload[2] = payload[2] == '\0' ? '\0' : '\x01';
    Require(record.regionId == ByteAt(payload, 0), "a wrong region");
    Require(record.backgroundCode == ByteAt(payload, 1), "a wrong background code");
    Require(record.fill == (payload[2] == '\x01'), "a wrong fill");
    RequireEqual(Text(record.paletteData), payload.substr(7), "a wrong table");
}

/// The memory ends with the payload, so that a sanitizer reports a read of one byte too many.
template <typename Record>
void Check(Record record, unsigned int messageId, std::string payload)
{
    Bytes bytes(payload.begin(), payload.end());
    const bool isWellFormed = IsWellFormed(messageId, bytes.data(), bytes.size());
    Require(isWellFormed == ReferenceIsWellFormed(messageId, payload),
            "the lengths were wrongly accepted or refused");
    if (!isWellFormed) {
        return;
    }
    record.Decode(bytes.data());
    CheckFields(record, payload);
    Require(record.EncodedSize() == payload.size(), "a wrong encoded size");
    Bytes encoded(payload.size());
    record.Encode(encoded.data());
    RequireEqual(Text(encoded), payload, "the second encoding has other bytes");
}

/// \p payload with the true length inserted at \p at; unchanged if it is shorter.
std::string WithLength(const std::string& payload, std::size_t at)
{
    return payload.size() < at
               ? payload
               : payload.substr(0, at) + BigEndian(static_cast<unsigned int>(payload.size() - at)) +
                     payload.substr(at);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    using namespace reference;
    const std::string payload(bytes, bytes + size);
    RegionDataItem region;
    PaletteItem table;
    region.data = table.paletteData = {7, 7, 7};  // bytes of an earlier message
    for (const unsigned int id : {regionData, setRegionData}) {
        Check(region, id, payload);
        Check(region, id, WithLength(payload, 2));
    }
    for (const unsigned int id : {palette, setPalette}) {
        Check(table, id, payload);
        Check(table, id, WithLength(payload, 3));
    }
    for (const unsigned int id : {visibility, setVisibility}) {
        Check(RegionVisItem(), id, payload);
    }
    return 0;
}
