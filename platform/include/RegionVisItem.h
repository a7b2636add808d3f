#pragma once

#include <BoolItem.h>
#include <Item.h>

/// Whether a subtitle region is shown. Encoded: region, visible.
class RegionVisItem : public Item {
public:
    unsigned char regionId = 0;  ///< counted from 1
    BoolItem visible;

    void Decode(unsigned char* payload) override;
    void Encode(unsigned char* payload) const override;
    unsigned int EncodedSize() const override;
};
