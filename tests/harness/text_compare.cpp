#include "tests/harness/text_compare.h"

#include <algorithm>

namespace {

constexpr std::size_t longestShown = 4000;

std::string Shown(const std::string& text, std::size_t difference)
{
    // Of a very long text, the part around the difference.
    const std::size_t start = difference > longestShown / 2 ? difference - longestShown / 2 : 0;
    std::string shown = start > 0 ? "[...]\n" : "";
    shown += VisibleText(text.substr(start, difference - start)) + ">>>HERE>>>";
    shown += VisibleText(text.substr(difference, longestShown / 2));
    return difference + longestShown / 2 < text.size() ? shown + "\n[...]" : shown;
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
            visible += "\\x";
            visible += digits[byte >> 4];
            visible += digits[byte & 15];
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
           << Shown(actual, difference) << "\n--- expected (" << expected.size() << " bytes)\n"
           << Shown(expected, difference);
}
