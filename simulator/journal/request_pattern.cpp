#include "simulator/journal/request_pattern.h"

#include "recording/crc32.h"
#include "recording/fields.h"
#include "words/nearest_word.h"
#include "words/text.h"
#include "words/truth.h"

#include <algorithm>
#include <iterator>

using namespace sim;
using namespace words;
using recording::ContentField;
using recording::contentFields;
using recording::requestKinds;

namespace {

unsigned int FieldsOf(recording::RequestKind kind)
{
    return requestKinds[static_cast<std::size_t>(kind)].fields;
}

std::vector<std::string_view> NamesOf(unsigned int fields)
{
    std::vector<std::string_view> names = {"result", "within"};
    for (const ContentField& field : contentFields) {
        if ((fields & field.bit) != 0 && field.name) {
            names.emplace_back(field.name);
        } else if ((fields & field.bit) != 0) {
            names.insert(names.end(), {"size", "crc32"});
        }
    }
    return names;
}

std::string_view NameIn(std::string_view word) { return word.substr(0, word.find('=')); }

std::string_view ValueIn(std::string_view word)
{
    return word.substr(std::min(NameIn(word).size() + 1, word.size()));
}

/// Looks among \p words for the one that was to be `request=` or `subscribers=`.
std::string NothingAwaited(const std::vector<std::string>& words)
{
    std::string suggestion;
    for (auto word = words.begin(); word != words.end() && suggestion.empty(); ++word) {
        suggestion = Suggestion(NameIn(*word), {"request", "subscribers"});
    }
    return "request= is missing" + suggestion;
}

std::string ReadNumber(std::string_view value, unsigned int largest, unsigned int& number)
{
    return ParseNumber(value, number) && number <= largest
               ? ""
               : Quoted(value) + " is not a number from 0 to " + std::to_string(largest);
}

std::string ReadCrc32(std::string_view value, recording::Data& data)
{
    unsigned int crc32 = 0;
    if (value.size() != 8 || !ParseNumber(value, crc32, 16)) {
        return Quoted(value) + " is not eight digits of 0 to 9 and a to f";
    }
    data.crc32 = crc32;
    return "";
}

std::string ReadResult(std::string_view value, recording::Result& result)
{
    const std::vector<std::string_view> names(std::begin(recording::resultNames),
                                              std::end(recording::resultNames));
    const auto found = std::find(names.begin(), names.end(), value);
    if (found == names.end()) {
        return Quoted(value) + " is not ok, refused or unanswered" + Suggestion(value, names);
    }
    result = static_cast<recording::Result>(found - names.begin());
    return "";
}

}  // namespace

RequestPattern::RequestPattern(const recording::Request& recorded)
    : wanted(recorded), fields(FieldsOf(recorded.kind) & ~recording::has::data),
      wantsSize((FieldsOf(recorded.kind) & recording::has::data) != 0)
{
    if (wantsSize && recorded.data.AreThere()) {
        wanted.data.crc32 = recording::Crc32(recorded.data);
    }
    wanted.data.bytes = nullptr;  // which do not stay
}

bool RequestPattern::Parse(const std::vector<std::string>& words, std::string& problem)
{
    *this = {};
    const auto kind = std::find_if(words.begin(), words.end(), [](const std::string& word) {
        return NameIn(word) == "request";
    });
    problem = kind == words.end() ? NothingAwaited(words) : ReadKind(ValueIn(*kind));
    for (auto word = words.begin(); word != words.end() && problem.empty(); ++word) {
        const std::string_view name = NameIn(*word);
        if (std::any_of(words.begin(), word, [&](const auto& w) { return NameIn(w) == name; })) {
            problem = Quoted(name) + " is given twice";
        } else if (word != kind) {
            problem = ReadField(name, ValueIn(*word));
        }
    }
    return problem.empty();
}

std::string RequestPattern::ReadKind(std::string_view name)
{
    std::vector<std::string_view> names;
    for (const recording::KindRow& row : requestKinds) {
        names.emplace_back(row.name);
    }
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) {
        return Quoted(name) + " is not a request" + Suggestion(name, names);
    }
    wanted.kind = static_cast<recording::RequestKind>(found - names.begin());
    return "";
}

std::string RequestPattern::ReadField(std::string_view name, std::string_view value)
{
    const unsigned int possible = FieldsOf(wanted.kind);
    const bool hasData = (possible & recording::has::data) != 0;
    if (name == "result") {
        wantsResult = true;
        return ReadResult(value, wanted.result);
    }
    if (hasData && name == "crc32") {
        return ReadCrc32(value, wanted.data);
    }
    if (hasData && name == "size") {
        unsigned int size = 0;
        std::string problem = ReadNumber(value, recording::largestData, size);
        wanted.data.size = size;
        wantsSize = true;
        return problem;
    }
    for (const ContentField& field : contentFields) {
        if ((possible & field.bit) == 0 || !field.name || name != field.name) {
            continue;
        }
        fields |= field.bit;
        return field.number ? ReadNumber(value, field.largest, wanted.*field.number)
               : ParseTruth(value, wanted.*field.flag) ? ""
                                                       : NotATruth(value);
    }
    return std::string(requestKinds[static_cast<std::size_t>(wanted.kind)].name) + " has no " +
           Quoted(name) + Suggestion(name, NamesOf(possible));
}

bool RequestPattern::Matches(const recording::Request& request) const
{
    if (request.kind != wanted.kind || (wantsResult && request.result != wanted.result)) {
        return false;
    }
    for (const ContentField& field : contentFields) {
        const bool isSame = (fields & field.bit) == 0 ||
                            (field.number ? request.*field.number == wanted.*field.number
                                          : request.*field.flag == wanted.*field.flag);
        if (!isSame) {
            return false;
        }
    }
    return (!wantsSize || request.data.size == wanted.data.size) &&
           (!wanted.data.crc32 || recording::Crc32(request.data) == wanted.data.crc32);
}
