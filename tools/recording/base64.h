#pragma once

#include <cstddef>

namespace recording {

/// Characters that \p size bytes take.
constexpr std::size_t Base64Size(std::size_t size) { return (size + 2) / 3 * 4; }

/// Writes Base64Size(\p size) characters to \p text: the alphabet with + and /, padded with =.
void EncodeBase64(const unsigned char* bytes, std::size_t size, char* text);

/// Decodes \p size characters in place. Accepts only what EncodeBase64() writes: no blanks, padded,
/// unused bits zero.
///
/// \param decoded  becomes the number of bytes
/// \return false when \p text is something else; its contents are then undefined
bool DecodeBase64(char* text, std::size_t size, std::size_t& decoded);

}  // namespace recording
