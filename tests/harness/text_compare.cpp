#include "tests/harness/text_compare.h"

#include <algorithm>

namespace {

constexpr std::size_t bytesShown = 80;  // before and after the difference: a few lines

std::string Around(const std::string& text, std::size_t difference)
{
    const std::size_t begin = difference - std::min(difference, bytesShown);
    return (begin > 0 ? "[...]" : "") + VisibleText(text.substr(begin, difference - begin)) +
           ">>>HERE>>>" + VisibleText(text.substr(difference, bytesShown)) +
           (text.size() - difference > bytesShown ? "[...]" : "");
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
