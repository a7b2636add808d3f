#include "simulator/crc32.h"

#include <gtest/gtest.h>

#include <string>

using namespace sim;

namespace {

std::uint32_t Crc32Of(const std::string& text)
{
    return Crc32(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

TEST(Crc32, HasTheKnownCheckValue) { EXPECT_EQ(Crc32Of("123456789"), 0xCBF43926u); }

TEST(Crc32, AgreesWithDivisionBitByBit)
{
    std::string bytes;
    std::uint32_t remainder = 0xFFFFFFFFu;
    for (unsigned int i = 0; i < 1000; ++i) {
        EXPECT_EQ(Crc32Of(bytes), ~remainder) << i << " bytes";
        const auto byte = static_cast<unsigned char>(i * i + 7 * i);
        bytes += static_cast<char>(byte);
        for (unsigned int bit = 0; bit < 8; ++bit) {
            const bool differs = ((remainder ^ (byte >> bit)) & 1u) != 0;
            remainder = remainder >> 1 ^ (differs ? 0xEDB88320u : 0u);
        }
    }
}

}  // namespace
