#include "recording/base64.h"

#include <gtest/gtest.h>

#include <string>

using namespace recording;

namespace {

std::string Encoded(const std::string& bytes)
{
    std::string text(Base64Size(bytes.size()), '?');
    EncodeBase64(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), text.data());
    return text;
}

/// Returns "refused" for a wrong text; no valid text in this test decodes to it.
std::string Decoded(std::string text)
{
    std::size_t size = 0;
    return DecodeBase64(text.data(), text.size(), size) ? text.substr(0, size) : "refused";
}

TEST(Base64, DecodesItsOwnOutput)
{
    std::string bytes;
    for (unsigned int i = 0; i < 100; ++i) {
        EXPECT_EQ(Decoded(Encoded(bytes)), bytes) << i;
        bytes += static_cast<char>(static_cast<unsigned char>(i * i + 3 * i));
    }
}

TEST(Base64, RefusesTextThatItDoesNotWrite)
{
    for (const char* text : {"Z", "Zg=", "====", "Z===", "Zg==Zg==", "Zm 9", "Zm-_",
                             "Zh==", "Zm9=", "=Zm9", "Z=g=", "\xC3\xA4g=", "Zm9v===="}) {
        EXPECT_EQ(Decoded(text), "refused") << text;
    }
}

}  // namespace
