#include "view/pcapng.h"

namespace view {

namespace {

/// The low bytes of a number, the least significant one first.
template <int width>
std::string Bytes(std::uint64_t number)
{
    std::string bytes;
    for (int i = 0; i < width; ++i, number >>= 8) {
        bytes += static_cast<char>(number & 0xFF);
    }
    return bytes;
}

std::string Padded(std::string bytes)
{
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

std::string Option(unsigned int code, const std::string& value)
{
    return Bytes<2>(code) + Bytes<2>(value.size()) + Padded(value);
}

const std::string endOfOptions(4, '\0');

/// \param body  a multiple of 4 bytes
std::string Block(std::uint32_t type, const std::string& body)
{
    const std::string length = Bytes<4>(body.size() + 12);
    return Bytes<4>(type) + length + body + length;
}

}  // namespace

std::string SectionBlock(const std::string& program)
{
    constexpr std::uint32_t byteOrder = 0x1A2B3C4D;
    constexpr unsigned int application = 4;
    const std::string unknownLength(8, '\xFF');
    return Block(0x0A0D0D0A, Bytes<4>(byteOrder) + Bytes<2>(1) + Bytes<2>(0) + unknownLength +
                                 Option(application, program) + endOfOptions);
}

std::string InterfaceBlock(const std::string& name)
{
    constexpr unsigned int user0 = 147;
    constexpr unsigned int interfaceName = 2;
    constexpr unsigned int timeResolution = 9;
    constexpr std::size_t longestName = 255;
    return Block(1, Bytes<2>(user0) + Bytes<2>(0) + Bytes<4>(largestPacket) +
                        Option(interfaceName, name.substr(0, longestName)) +
                        Option(timeResolution, "\x06") + endOfOptions);
}

std::string PacketBlock(std::int64_t wallUs, const std::string& bytes, std::size_t size)
{
    constexpr unsigned int interface = 0;
    const auto us = static_cast<std::uint64_t>(wallUs);
    return Block(6, Bytes<4>(interface) + Bytes<4>(us >> 32) + Bytes<4>(us) +
                        Bytes<4>(bytes.size()) + Bytes<4>(size) + Padded(bytes));
}

}  // namespace view
