#include "simulator/play/options.h"

#include <charconv>

bool sim::ParseRate(std::string_view text, double& rate)
{
    constexpr double largest = 1000000;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, rate, std::chars_format::fixed);
    return error == std::errc() && rest == end && rate >= 0 && rate <= largest;
}
