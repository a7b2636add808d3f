#pragma once

#include <Item.h>

#include <vector>

/// The bitmap of one subtitle region. Encoded: region, format, length in 4 bytes, pixels.
class RegionDataItem : public Item {
public:
    unsigned char regionId = 0;        ///< counted from 1
    unsigned char subtitleFormat = 0;  ///< 0 HD, 1 SD, 2 CIF
    std::vector<unsigned char> data;   ///< one byte a pixel

    void Decode(unsigned char* payload) override;
    void Encode(unsigned char* payload) const override;
    unsigned int EncodedSize() const override;
};
