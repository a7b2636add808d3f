#pragma once

#include <Item.h>

class BoolItem : public Item {
public:
    BoolItem& operator=(bool const& newValue);
    operator bool() const;
    void Decode(unsigned char* payload) override;
    void Encode(unsigned char* payload) const override;
    unsigned int EncodedSize() const override;

private:
    int flag = 1;  // shows a console that does not set the flag
};
