#include "words/times.h"

namespace words {

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool EndsIn(std::string_view text, std::string_view end)
{
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

/// Takes a unit off the end of \p text. \return its microseconds
std::int64_t TakeUnit(std::string_view& text, std::int64_t plainUs)
{
    if (EndsIn(text, "ms")) {
        text.remove_suffix(2);
        return usPerSecond / 1000;
    }
    if (EndsIn(text, "s")) {
        text.remove_suffix(1);
        return usPerSecond;
    }
    return plainUs;
}

}  // namespace

bool ParseTime(std::string_view text, std::int64_t& microseconds, std::int64_t plainUs)
{
    std::int64_t unit = TakeUnit(text, plainUs);  // of the next digit's place, after the point
    std::int64_t sum = 0;
    bool isFraction = false;
    if (text.empty() || !IsDigit(text.front()) || !IsDigit(text.back())) {
        return false;
    }
    for (const char c : text) {
        if (c == '.' && !isFraction) {
            isFraction = true;
            continue;
        }
        if (!IsDigit(c)) {
            return false;
        }
        const int digit = c - '0';
        if (isFraction) {
            if (unit < 10 && digit != 0) {
                return false;
            }
            unit /= 10;
            sum += digit * unit;
        } else {
            sum = sum * 10 + digit * unit;
        }
        if (sum > longestTimeUs) {
            return false;
        }
    }
    microseconds = sum;
    return true;
}

}  // namespace words
