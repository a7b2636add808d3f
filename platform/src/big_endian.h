#pragma once

namespace platform {

// Numbers on the wire: most significant byte first. Read and written byte by byte, independent of
// the machine's byte order and alignment.

inline void PutU32(unsigned char* bytes, unsigned int value)
{
    bytes[0] = static_cast<unsigned char>(value >> 24);
    bytes[1] = static_cast<unsigned char>(value >> 16);
    bytes[2] = static_cast<unsigned char>(value >> 8);
    bytes[3] = static_cast<unsigned char>(value);
}

inline unsigned int GetU32(const unsigned char* bytes)
{
    return static_cast<unsigned int>(bytes[0]) << 24 | static_cast<unsigned int>(bytes[1]) << 16 |
           static_cast<unsigned int>(bytes[2]) << 8 | bytes[3];
}

}  // namespace platform
