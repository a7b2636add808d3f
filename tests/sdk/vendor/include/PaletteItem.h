#pragma once

#include <Item.h>

#include <vector>

class PaletteItem : public Item {
public:
    unsigned char regionId = 77;
    unsigned char backgroundCode = 88;
    bool fill = true;
    std::vector<unsigned char> paletteData;

    void Decode(unsigned char* payload) override;
    void Encode(unsigned char* payload) const override;
    unsigned int EncodedSize() const override;
};
