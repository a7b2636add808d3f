#pragma once

#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/reference_frames.h"

#include "platform/src/wire_format.h"

#include <vector>

using namespace platform;

/// Encodes \p record and compares it with \p expected, in memory that is exactly as long.
template <typename Record>
void RequireEncodes(const Record& record, const std::string& expected)
{
    Require(record.EncodedSize() == expected.size(), "another size than the record that came");
    std::vector<unsigned char> encoded(expected.size());
    record.Encode(encoded.data());
    RequireEqual(std::string(encoded.begin(), encoded.end()), expected, "encoded otherwise");
}

/// Checks \p payload as the message \p messageId, and decodes it when it is well-formed, in memory
/// that ends where it ends.
/// \return whether \p record holds it now
template <typename Record>
bool DecodeChecked(unsigned int messageId, const std::string& payload, Record& record)
{
    std::vector<unsigned char> bytes(payload.begin(), payload.end());
    const bool isWellFormed = IsWellFormed(messageId, bytes.data(), bytes.size());
    Require(isWellFormed == ReferenceIsWellFormed(messageId, payload),
            "not the same judgement of the lengths");
    if (isWellFormed) {
        record.Decode(bytes.data());
    }
    return isWellFormed;
}
