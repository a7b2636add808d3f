#pragma once

#include <Item.h>

#include <vector>

/// Colour table and fill settings of a subtitle region. Encoded: region, background code, fill,
/// length in 4 bytes, table.
class PaletteItem : public Item {
public:
    unsigned char regionId = 0;              ///< counted from 1
    unsigned char backgroundCode = 0;        ///< palette entry of the background
    bool fill = false;                       ///< the region is filled with the background
    std::vector<unsigned char> paletteData;  ///< entries of 4 bytes, 256 of them in a full table

    void Decode(unsigned char* payload) override;
    void Encode(unsigned char* payload) const override;
    unsigned int EncodedSize() const override;
};
