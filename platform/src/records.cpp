// The encoded form of the four records, see docs/wire-format.md.

#include "platform/src/big_endian.h"
#include "platform/src/wire_format.h"

#include <BoolItem.h>
#include <Item.h>
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <algorithm>
#include <limits>

using namespace platform;

namespace {

constexpr unsigned int regionDataPrefix = 6;
constexpr unsigned int palettePrefix = 7;

void PutCounted(unsigned char* to, const std::vector<unsigned char>& bytes)
{
    PutU32(to, static_cast<unsigned int>(bytes.size()));
    std::copy(bytes.begin(), bytes.end(), to + 4);
}

/// Without memory \p bytes are empty, never those of an earlier record.
void GetCounted(const unsigned char* from, std::vector<unsigned char>& bytes)
{
    bytes.clear();
    bytes.assign(from + 4, from + 4 + GetU32(from));
}

}  // namespace

unsigned int platform::RecordSize(unsigned int prefix, std::size_t bytes)
{
    constexpr unsigned int largest = std::numeric_limits<unsigned int>::max();
    return bytes > largest - prefix ? largest : prefix + static_cast<unsigned int>(bytes);
}

Item::~Item() = default;

BoolItem& BoolItem::operator=(bool const& newValue)
{
    value = newValue;
    return *this;
}

BoolItem::operator bool() const { return value; }
void BoolItem::Decode(unsigned char* payload) { value = payload[0] != 0; }
void BoolItem::Encode(unsigned char* payload) const { payload[0] = value ? 1 : 0; }
unsigned int BoolItem::EncodedSize() const { return 1; }

void RegionDataItem::Decode(unsigned char* payload)
{
    regionId = payload[0];
    subtitleFormat = payload[1];
    GetCounted(payload + 2, data);
}

void RegionDataItem::Encode(unsigned char* payload) const
{
    payload[0] = regionId;
    payload[1] = subtitleFormat;
    PutCounted(payload + 2, data);
}

unsigned int RegionDataItem::EncodedSize() const
{
    return RecordSize(regionDataPrefix, data.size());
}

void RegionVisItem::Decode(unsigned char* payload)
{
    regionId = payload[0];
    visible.Decode(payload + 1);
}

void RegionVisItem::Encode(unsigned char* payload) const
{
    payload[0] = regionId;
    visible.Encode(payload + 1);
}

unsigned int RegionVisItem::EncodedSize() const { return 1 + visible.EncodedSize(); }

void PaletteItem::Decode(unsigned char* payload)
{
    regionId = payload[0];
    backgroundCode = payload[1];
    fill = payload[2] != 0;
    GetCounted(payload + 3, paletteData);
}

void PaletteItem::Encode(unsigned char* payload) const
{
    payload[0] = regionId;
    payload[1] = backgroundCode;
    payload[2] = fill ? 1 : 0;
    PutCounted(payload + 3, paletteData);
}

unsigned int PaletteItem::EncodedSize() const
{
    return RecordSize(palettePrefix, paletteData.size());
}
