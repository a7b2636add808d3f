#pragma once

#include <Item.h>

#include <vector>

// A new record is not empty, so that what a console sends without having set it is seen.
class RegionDataItem : public Item {
public:
    unsigned char regionId = 77;
    unsigned char subtitleFormat = 9;

private:
    unsigned int claimedSize = 0;  // between the public fields, as vendors do

public:
    std::vector<unsigned char> data{5, 6, 7};

    void Decode(unsigned char* payload) override;
    void Encode(unsigned char* payload) const override;
    unsigned int EncodedSize() const override;
};
