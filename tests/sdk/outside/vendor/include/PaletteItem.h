#pragma once

#include <Item.h>

#include <vector>

class PaletteItem : public Item {
public:
    unsigned char regionId = 0;
    unsigned char backgroundCode = 0;
    bool fill = false;

private:
    unsigned int revision = 0;

public:
    std::vector<unsigned char> paletteData;

    void Decode(unsigned char* payload) override;
    void Encode(unsigned char* payload) const override;
    unsigned int EncodedSize() const override;
};
