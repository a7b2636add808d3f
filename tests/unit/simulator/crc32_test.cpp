#include "simulator/crc32.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace sim;

namespace {

std::uint32_t Crc32Of(const std::string& text)
{
    return Crc32(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

TEST(Crc32, HasTheKnownCheckValue) { EXPECT_EQ(Crc32Of("123456789"), 0xCBF43926u); }

TEST(Crc32, OfNothingIsZero) { EXPECT_EQ(Crc32(nullptr, 0), 0u); }

TEST(Crc32, OfOneZeroByteIsKnown) { EXPECT_EQ(Crc32Of(std::string(1, '\0')), 0xD202EF8Du); }

TEST(Crc32, AgreesWithDivisionBitByBit)
{
    std::vector<unsigned char> bytes;
    for (unsigned int i = 0; i < 1000; ++i) {
        bytes.push_back(static_cast<unsigned char>(i * i + 7 * i));
    }
    std::uint32_t remainder = 0xFFFFFFFFu;
    for (const unsigned char byte : bytes) {
        for (unsigned int bit = 0; bit < 8; ++bit) {
            const bool differs = ((remainder ^ (byte >> bit)) & 1u) != 0;
            remainder = remainder >> 1 ^ (differs ? 0xEDB88320u : 0u);
        }
    }
    EXPECT_EQ(Crc32(bytes.data(), bytes.size()), ~remainder);
}

}  // namespace
