#include "recording/line_input.h"

#include <algorithm>
#include <cstring>

namespace recording {

char* LineInput::Room(std::size_t& size)
{
    constexpr std::size_t leastRoom = 65536;
    if (begin > 0) {
        std::memmove(buffer.data(), buffer.data() + begin, end - begin);
        end -= begin;
        dropped += begin;
        scanned -= begin;
        begin = 0;
    }
    if (buffer.size() - end < leastRoom) {
        buffer.resize(std::max(2 * end, leastRoom));
    }
    size = buffer.size() - end;
    return buffer.data() + end;
}

LineInput::Cut LineInput::Next(char*& line, std::size_t& length)
{
    char* const from = buffer.data() + scanned;
    void* const found = end > scanned ? std::memchr(from, '\n', end - scanned) : nullptr;
    scanned = found ? static_cast<std::size_t>(static_cast<char*>(found) - buffer.data()) : end;
    length = scanned - begin;
    if (length > longestLine) {
        return Cut::TooLong;
    }
    if (!found) {
        return Cut::NeedsInput;
    }
    line = buffer.data() + begin;
    line[length] = '\0';
    begin = ++scanned;
    return Cut::Line;
}

}  // namespace recording
