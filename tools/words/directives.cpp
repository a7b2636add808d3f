#include "words/directives.h"

#include "words/nearest_word.h"
#include "words/text.h"

#include <algorithm>
#include <iterator>

namespace words {

namespace {

bool IsAllowed(const Directive& directive, Place place)
{
    return directive.place == Place::Both || directive.place == place;
}

std::string UnknownWord(const std::string& word, Place place)
{
    std::vector<std::string_view> known;
    for (const Directive& directive : directives) {
        if (IsAllowed(directive, place)) {
            known.push_back(directive.word);
        }
    }
    return "unknown directive " + Quoted(word) + Suggestion(word, known);
}

}  // namespace

const Directive* FindDirective(const std::vector<std::string>& line, Place place,
                               std::string& problem)
{
    const auto* const found =
        std::find_if(std::begin(directives), std::end(directives),
                     [&](const Directive& known) { return known.word == line.front(); });
    if (found == std::end(directives)) {
        problem = UnknownWord(line.front(), place);
    } else if (!IsAllowed(*found, place)) {
        problem = std::string(found->word) + " is allowed only " +
                  (place == Place::Control ? "in a scenario" : "on the control socket");
    } else if (line.size() < found->fewest || line.size() > found->most) {
        problem = "expected: " + std::string(found->usage);
    } else {
        return found;
    }
    return nullptr;
}

}  // namespace words
