#pragma once

#include <Item.h>

#include <vector>

class RegionDataItem : public Item {
public:
    unsigned char regionId = 0;
    unsigned char subtitleFormat = 0;

private:
    unsigned short width = 0;  // between the public fields, as the device's own has some

public:
    std::vector<unsigned char> data;

    void Decode(unsigned char* payload) override;
    void Encode(unsigned char* payload) const override;
    unsigned int EncodedSize() const override;
};
