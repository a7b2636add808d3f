#include <StringUtilities.h>

#include <algorithm>

bool StringUtilities::StringToBool(const std::string& text)
{
    // Not tolower(): the answer must not depend on a locale.
    std::string lower = text;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return lower == "t" || lower == "true" || lower == "y" || lower == "yes" || lower == "on" ||
           lower == "1";
}
