#pragma once

#include <Item.h>

#include <vector>

// A new record is not empty, so that a test sees a field that the console does not set.
class RegionDataItem : public Item {
public:
    unsigned char regionId = 77;
    unsigned char subtitleFormat = 9;

private:
    unsigned int claimedSize = 0;  // between the public fields, like in records of real vendors

public:
    std::vector<unsigned char> data{5, 6, 7};

    void Decode(unsigned char* payload) override;
    void Encode(unsigned char* payload) const override;
    unsigned int EncodedSize() const override;
};
