#include <BoolItem.h>
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

namespace {

unsigned Number(const unsigned char* bytes)
{
    unsigned number = 0;
    for (unsigned i = 0; i < 4; ++i) {
        number = number << 8 | bytes[i];
    }
    return number;
}

}  // namespace

Item::~Item() = default;

BoolItem& BoolItem::operator=(bool const& newValue)
{
    flag = newValue ? 1 : 0;
    return *this;
}

BoolItem::operator bool() const { return flag != 0; }

void BoolItem::Decode(unsigned char* payload) { flag = payload[0]; }

void BoolItem::Encode(unsigned char* payload) const { payload[0] = flag != 0; }

unsigned int BoolItem::EncodedSize() const { return 1; }

void RegionDataItem::Decode(unsigned char* payload)
{
    regionId = payload[0];
    subtitleFormat = payload[1];
    claimedSize = Number(payload + 2);
    data.assign(payload + 10, payload + 10 + Number(payload + 6));
}

// The client never encodes a record.
void RegionDataItem::Encode(unsigned char*) const {}

unsigned int RegionDataItem::EncodedSize() const { return claimedSize; }

void RegionVisItem::Decode(unsigned char* payload)
{
    regionId = payload[0];
    visible.Decode(payload + 1);
}

void RegionVisItem::Encode(unsigned char*) const {}

unsigned int RegionVisItem::EncodedSize() const { return 2; }

void PaletteItem::Decode(unsigned char* payload)
{
    regionId = payload[0];
    backgroundCode = payload[1];
    fill = payload[2] != 0;
    paletteData.assign(payload + 7, payload + 7 + Number(payload + 3));
}

void PaletteItem::Encode(unsigned char*) const {}

unsigned int PaletteItem::EncodedSize() const
{
    return static_cast<unsigned>(7 + paletteData.size());
}
