#include "words/number_list.h"

#include <charconv>

namespace words {

namespace {

bool TakeNumber(std::string_view& text, std::size_t& number)
{
    unsigned char value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc()) {
        return false;
    }
    number = value;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

bool TakeCharacter(std::string_view& text, char c)
{
    const bool isThere = !text.empty() && text.front() == c;
    text.remove_prefix(isThere ? 1 : 0);
    return isThere;
}

}  // namespace

bool ParseNumbers(std::string_view text, NumberSet& numbers)
{
    numbers.reset();
    do {
        std::size_t first = 0;
        if (!TakeNumber(text, first)) {
            return false;
        }
        std::size_t last = first;
        if (TakeCharacter(text, '-') && (!TakeNumber(text, last) || last < first)) {
            return false;
        }
        for (std::size_t number = first; number <= last; ++number) {
            numbers.set(number);
        }
    } while (TakeCharacter(text, ','));
    return text.empty();
}

}  // namespace words
