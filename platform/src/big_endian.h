#pragma once

namespace platform {

// Numbers on the wire: most significant byte first, one byte at a time, whatever the machine's own
// byte order and alignment.

inline void PutU16(unsigned char* bytes, unsigned int value)
{
    bytes[0] = static_cast<unsigned char>(value >> 8);
    bytes[1] = static_cast<unsigned char>(value);
}

inline void PutU32(unsigned char* bytes, unsigned int value)
{
    PutU16(bytes, value >> 16);
    PutU16(bytes + 2, value);
}

inline unsigned int GetU16(const unsigned char* bytes)
{
    return static_cast<unsigned int>(bytes[0]) << 8 | bytes[1];
}

inline unsigned int GetU32(const unsigned char* bytes)
{
    return GetU16(bytes) << 16 | GetU16(bytes + 2);
}

}  // namespace platform
