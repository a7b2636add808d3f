#include "words/nearest_word.h"

#include <algorithm>
#include <cstddef>

namespace words {

namespace {

bool IsSame(char one, char other)
{
    const auto lower = [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    };
    return lower(one) == lower(other);
}

std::size_t Distance(std::string_view one, std::string_view other)
{
    // Rows of the table of distances between the beginnings of both words.
    std::vector<std::size_t> beforeLast(other.size() + 1);
    std::vector<std::size_t> last(other.size() + 1);
    std::vector<std::size_t> row(other.size() + 1);
    for (std::size_t j = 0; j <= other.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= one.size(); ++i) {
        beforeLast.swap(last);
        last.swap(row);
        row[0] = i;
        for (std::size_t j = 1; j <= other.size(); ++j) {
            const std::size_t wrong = IsSame(one[i - 1], other[j - 1]) ? 0 : 1;
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + wrong});
            if (i > 1 && j > 1 && IsSame(one[i - 1], other[j - 2]) &&
                IsSame(one[i - 2], other[j - 1])) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
    }
    return row[other.size()];
}

}  // namespace

std::string_view NearestWord(std::string_view word, const std::vector<std::string_view>& known)
{
    std::string_view nearest;
    std::size_t least = 0;
    for (const std::string_view candidate : known) {
        const auto [shorter, longer] = std::minmax({word.size(), candidate.size()});
        const std::size_t limit = std::max<std::size_t>(1, longer / 3);
        // Also bounds the work for a word of any length.
        if (longer - shorter > limit) {
            continue;
        }
        const std::size_t distance = Distance(word, candidate);
        // Otherwise a word of one character would match every other word of one character.
        if (distance <= limit && distance < longer && (nearest.empty() || distance < least)) {
            nearest = candidate;
            least = distance;
        }
    }
    return nearest;
}

std::string Suggestion(std::string_view word, const std::vector<std::string_view>& known)
{
    const std::string_view nearest = NearestWord(word, known);
    return nearest.empty() ? "" : "; did you mean " + std::string(nearest) + "?";
}

}  // namespace words
