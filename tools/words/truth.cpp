#include "words/truth.h"

#include "words/nearest_word.h"
#include "words/text.h"

#include <algorithm>
#include <iterator>

namespace words {

bool ParseTruth(std::string_view word, bool& truth)
{
    static constexpr struct {
        std::string_view word;
        bool truth;
    } known[] = {
        {"t", true},  {"true", true},   {"y", true},  {"yes", true}, {"on", true},   {"1", true},
        {"f", false}, {"false", false}, {"n", false}, {"no", false}, {"off", false}, {"0", false},
    };
    const auto isSame = [](char one, char lower) {
        return (one >= 'A' && one <= 'Z' ? one - 'A' + 'a' : one) == lower;
    };
    const auto* const found = std::find_if(std::begin(known), std::end(known), [&](const auto& k) {
        return std::equal(word.begin(), word.end(), k.word.begin(), k.word.end(), isSame);
    });
    if (found == std::end(known)) {
        return false;
    }
    truth = found->truth;
    return true;
}

std::string NotATruth(std::string_view word)
{
    return Quoted(word) + " is not true or false" +
           Suggestion(word, {"true", "false", "yes", "no", "on", "off"});
}

}  // namespace words
