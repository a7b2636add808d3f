#pragma once

#include <Item.h>

/// A boolean as a record of one byte: 0 is false, 1 is true, any other value is read as true.
class BoolItem : public Item {
public:
    BoolItem& operator=(bool const& newValue);
    operator bool() const;

    void Decode(unsigned char* payload) override;
    void Encode(unsigned char* payload) const override;
    unsigned int EncodedSize() const override;

private:
    bool value = false;
};
