#pragma once

#include <Item.h>

#include <vector>

/// A new record is not empty, so that it shows what a console sends without having set it.
class RegionDataItem : public Item {
public:
    unsigned char regionId = 77;
    unsigned char subtitleFormat = 9;

private:
    /// The size that this record says it has: a script may have it lie, to reach large counts.
    unsigned int claimedSize = 0;

public:
    std::vector<unsigned char> data{5, 6, 7};

    void Decode(unsigned char* payload) override;
    void Encode(unsigned char* payload) const override;
    unsigned int EncodedSize() const override;
};
