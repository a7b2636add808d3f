#pragma once

#include "recording/base64.h"
#include "recording/lines.h"

#include <vector>

namespace recording {

/// The longest line that is read: the largest payload, and room for all other fields.
constexpr std::size_t longestLine = Base64Size(largestData) + 65536;

/// Cuts input into lines; it may arrive in any pieces. Memory grows with the bytes received.
class LineInput {
public:
    enum class Cut { Line, NeedsInput, TooLong };

    /// Room for at least one byte of input. Lines taken before are no longer valid.
    char* Room(std::size_t& size);
    void Received(std::size_t count) { end += count; }

    /// \param line  with NUL in the place of its newline; may be changed
    Cut Next(char*& line, std::size_t& length);

    /// The offset in the input where the line taken last ends, with its newline.
    std::uint64_t EndOffset() const { return dropped + begin; }

    /// Bytes after the last whole line.
    std::size_t Rest() const { return end - begin; }

private:
    std::vector<char> buffer;
    std::uint64_t dropped = 0;  ///< bytes before `buffer`
    std::size_t begin = 0;      ///< of the bytes that were not taken yet
    std::size_t scanned = 0;    ///< there is no newline from `begin` to here
    std::size_t end = 0;
};

}  // namespace recording
