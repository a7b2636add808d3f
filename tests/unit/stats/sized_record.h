#pragma once

#include <RegionDataItem.h>

/// A region-data record of any encoded size, even larger than a message may be.
class SizedRecord : public RegionDataItem {
public:
    SizedRecord(unsigned int region, unsigned int format, unsigned int encodedSize)
        : size(encodedSize)
    {
        regionId = static_cast<unsigned char>(region);
        subtitleFormat = static_cast<unsigned char>(format);
    }

    unsigned int EncodedSize() const override { return size; }

private:
    unsigned int size;
};
