#include "recording/crc32.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace recording;

namespace {

std::uint32_t Crc32Of(const std::string& text)
{
    return Crc32(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

std::uint32_t DividedBitByBit(const unsigned char* bytes, std::size_t length)
{
    std::uint32_t remainder = 0xFFFFFFFFu;
    for (std::size_t i = 0; i < length; ++i) {
        for (unsigned int bit = 0; bit < 8; ++bit) {
            const bool differs = ((remainder ^ (bytes[i] >> bit)) & 1u) != 0;
            remainder = remainder >> 1 ^ (differs ? 0xEDB88320u : 0u);
        }
    }
    return ~remainder;
}

TEST(Crc32, HasTheKnownCheckValue) { EXPECT_EQ(Crc32Of("123456789"), 0xCBF43926u); }

TEST(Crc32, OfNothingIsZero) { EXPECT_EQ(Crc32(nullptr, 0), 0u); }

TEST(Crc32, OfOneZeroByteIsKnown) { EXPECT_EQ(Crc32Of(std::string(1, '\0')), 0xD202EF8Du); }

TEST(Crc32, AgreesWithDivisionForEachLengthAndAlignment)
{
    std::vector<unsigned char> bytes;
    for (unsigned int i = 0; i < 100; ++i) {
        bytes.push_back(static_cast<unsigned char>(i * i + 7 * i));
    }
    for (std::size_t start = 0; start < 17; ++start) {
        for (std::size_t length = 0; length < 70; ++length) {
            EXPECT_EQ(Crc32(&bytes[start], length), DividedBitByBit(&bytes[start], length))
                << length << " bytes from " << start;
        }
    }
}

}  // namespace
