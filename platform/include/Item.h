#pragma once

/// A record that can be sent, received and subscribed to. Encoded numbers are big-endian.
class Item {
public:
    virtual ~Item();

    /// Fills every field from the encoded record at \p payload. The length is not checked here:
    /// the endpoint has checked it against the bytes that arrived before any callback runs. When
    /// there is no memory for the data, throws std::bad_alloc and leaves the data empty.
    virtual void Decode(unsigned char* payload) = 0;

    /// Writes EncodedSize() bytes to \p payload.
    virtual void Encode(unsigned char* payload) const = 0;

    /// Size of the encoded record in bytes; 4294967295 when it does not fit 32 bits.
    virtual unsigned int EncodedSize() const = 0;
};
