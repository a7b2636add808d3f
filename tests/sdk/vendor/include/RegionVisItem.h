#pragma once

#include <BoolItem.h>

class RegionVisItem : public Item {
public:
    unsigned char regionId = 77;
    BoolItem visible;

    void Decode(unsigned char* payload) override;
    void Encode(unsigned char* payload) const override;
    unsigned int EncodedSize() const override;
};
