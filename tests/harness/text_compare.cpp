#include "tests/harness/text_compare.h"

#include <algorithm>

namespace {

constexpr int linesShown = 2;             // before and after the line with the difference
constexpr std::size_t bytesShown = 1000;  // limit for long lines

/// The lines of \p text around \p difference, the first position where the texts differ.
std::string Around(const std::string& text, std::size_t difference)
{
    std::size_t begin = difference;
    for (int lines = 0; begin > 0 && difference - begin < bytesShown; --begin) {
        lines += text[begin - 1] == '\n' ? 1 : 0;
        if (lines > linesShown) {
            break;
        }
    }
    std::size_t end = difference;
    for (int lines = 0; end < text.size() && end - difference < bytesShown && lines <= linesShown;
         ++end) {
        lines += text[end] == '\n' ? 1 : 0;
    }
    return (begin > 0 ? "[...]\n" : "") + VisibleText(text.substr(begin, difference - begin)) +
           ">>>HERE>>>" + VisibleText(text.substr(difference, end - difference)) +
           (end < text.size() ? "[...]" : "");
}

}  // namespace

std::string VisibleText(const std::string& text)
{
    static const char digits[] = "0123456789abcdef";
    std::string visible;
    for (const char c : text) {
        const unsigned byte = static_cast<unsigned char>(c);
        if (c == ' ') {
            visible += "·";
        } else if (c == '\n') {
            visible += "\\n\n";
        } else if (byte < 0x20 || byte > 0x7E) {
            visible += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
        } else {
            visible += c;
        }
    }
    return visible;
}

testing::AssertionResult CompareTexts(const char* actualExpression, const char* expectedExpression,
                                      const std::string& actual, const std::string& expected)
{
    if (actual == expected) {
        return testing::AssertionSuccess();
    }
    const auto ends = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    const auto difference = static_cast<std::size_t>(ends.first - actual.begin());
    return testing::AssertionFailure()
           << actualExpression << " is not " << expectedExpression << "; first difference at byte "
           << difference << "\n--- actual (" << actual.size() << " bytes)\n"
           << Around(actual, difference) << "\n--- expected (" << expected.size() << " bytes)\n"
           << Around(expected, difference);
}
