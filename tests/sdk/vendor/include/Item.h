#pragma once

class Item {
public:
    virtual ~Item();
    virtual void Decode(unsigned char* payload) = 0;
    virtual void Encode(unsigned char* payload) const = 0;
    virtual unsigned int EncodedSize() const = 0;
};
