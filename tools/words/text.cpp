#include "words/text.h"

#include <algorithm>
#include <charconv>

namespace words {

Line SplitLine(const std::string& line)
{
    static const char blanks[] = " \t\r";
    const std::size_t end = std::min(line.find('#'), line.size());
    Line split;
    for (std::size_t at = 0; (at = line.find_first_not_of(blanks, at)) < end;) {
        const std::size_t next = std::min(line.find_first_of(blanks, at), end);
        split.words.push_back(line.substr(at, next - at));
        split.columns.push_back(at + 1);
        at = next;
    }
    return split;
}

std::vector<std::string> Split(const std::string& line) { return SplitLine(line).words; }

std::string Quoted(std::string_view word)
{
    std::string text = "'";
    for (const char c : word.substr(0, 40)) {
        const unsigned char byte = static_cast<unsigned char>(c);
        text += byte < 0x20 || byte >= 0x7F ? '?' : c;
    }
    return text + (word.size() > 40 ? "...'" : "'");
}

bool ParseNumber(std::string_view digits, unsigned int& number, int base)
{
    const char* const last = digits.data() + digits.size();
    const auto [end, error] = std::from_chars(digits.data(), last, number, base);
    return error == std::errc() && end == last;
}

bool ParseHex(std::string_view digits, std::vector<unsigned char>& bytes)
{
    bytes.reserve(digits.size() / 2);
    for (std::size_t i = 0; i + 2 <= digits.size(); i += 2) {
        unsigned int byte = 0;
        if (!ParseNumber(digits.substr(i, 2), byte, 16)) {
            return false;
        }
        bytes.push_back(static_cast<unsigned char>(byte));
    }
    return digits.size() % 2 == 0;
}

}  // namespace words
