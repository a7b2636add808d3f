#include "simulator/scenario.h"

#include "simulator/file_contents.h"
#include "simulator/subscriptions.h"

#include "platform/src/wire_format.h"
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <algorithm>
#include <limits>
#include <unordered_map>

namespace sim {

using namespace platform;

namespace {

using Words = std::vector<std::string>;

constexpr std::size_t maxScenario = std::size_t(1024) * 1024 * 1024;

/// Words of a line, without its comment.
Words SplitWords(const std::string& line)
{
    Words words;
    std::string word;
    for (const char c : line.substr(0, line.find('#')) + " ") {
        if (c != ' ' && c != '\t' && c != '\r') {
            word += c;
        } else if (!word.empty()) {
            words.push_back(word);
            word.clear();
        }
    }
    return words;
}

/// As a message shows it: short, and without anything that steers a terminal.
std::string Quoted(const std::string& word)
{
    std::string text = "'";
    for (const char c : word.substr(0, 40)) {
        const unsigned char byte = static_cast<unsigned char>(c);
        text += byte < 0x20 || byte >= 0x7F ? '?' : c;
    }
    return text + (word.size() > 40 ? "...'" : "'");
}

bool ParseNumber(const std::string& word, unsigned int largest, unsigned int& number)
{
    unsigned long long value = 0;
    for (const char c : word) {
        if (c < '0' || c > '9') {
            return false;
        }
        value = value * 10 + static_cast<unsigned int>(c - '0');
        if (value > largest) {
            return false;
        }
    }
    number = static_cast<unsigned int>(value);
    return !word.empty();
}

int HexDigit(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

bool ParseHex(const std::string& word, std::vector<unsigned char>& bytes)
{
    if (word.size() % 2 != 0) {
        return false;
    }
    bytes.reserve(word.size() / 2);
    for (std::size_t i = 0; i < word.size(); i += 2) {
        const int high = HexDigit(word[i]);
        const int low = HexDigit(word[i + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        bytes.push_back(static_cast<unsigned char>(high * 16 + low));
    }
    return true;
}

/// Turns one line after the other into directives.
class Parser {
public:
    explicit Parser(const std::string& path)
        : folder(path.find('/') == std::string::npos ? "" : path.substr(0, path.rfind('/') + 1))
    {
    }

    /// \return false with the reason in Reason()
    bool ParseLine(const std::string& line, Scenario& scenario);

    const std::string& Reason() const { return reason; }

private:
    bool ParseWords(const Words& words, Directive& directive);
    bool ParsePublication(const Words& words, Directive& directive);
    bool ParseWait(const Words& words, Directive& directive);
    bool ParseRegionData(const Words& words, Directive& directive);
    bool ParseVisibility(const Words& words, Directive& directive);
    bool ParsePalette(const Words& words, Directive& directive);

    bool HasArguments(const Words& words, std::size_t count, const char* usage);
    bool Byte(const std::string& word, const char* what, unsigned char& value);
    bool TrueOrFalse(const std::string& word, const char* what, bool& value);
    bool Bytes(const std::string& word, std::vector<unsigned char>& bytes);
    bool Finish(unsigned int subscription, unsigned int itemId, const Item& record,
                Directive& directive);
    bool Refuse(const std::string& why)
    {
        reason = why;
        return false;
    }

    const std::string folder;  ///< in which named files stand, with a slash at the end
    std::string reason;
    std::unordered_map<std::string, std::string> files;
    /// A line that is there a thousand times is encoded once.
    std::unordered_map<std::string, Directive> publications;
};

bool Parser::ParseLine(const std::string& line, Scenario& scenario)
{
    const Words words = SplitWords(line);
    Directive directive;
    if (words.empty()) {
        return true;
    }
    if (!ParseWords(words, directive)) {
        return false;
    }
    scenario.push_back(directive);
    return true;
}

bool Parser::ParseWords(const Words& words, Directive& directive)
{
    if (words[0] == "sleep") {
        directive.kind = Directive::Kind::Sleep;
        return HasArguments(words, 1, "sleep MILLISECONDS") &&
               (ParseNumber(words[1], std::numeric_limits<unsigned int>::max(), directive.number) ||
                Refuse(Quoted(words[1]) + " is not a number of milliseconds"));
    }
    if (words[0] == "wait-subscribers") {
        return ParseWait(words, directive);
    }
    std::string key;
    for (const std::string& word : words) {
        key += word + ' ';
    }
    const auto known = publications.find(key);
    if (known != publications.end()) {
        directive = known->second;
        return true;
    }
    if (!ParsePublication(words, directive)) {
        return false;
    }
    publications.emplace(key, directive);
    return true;
}

bool Parser::ParsePublication(const Words& words, Directive& directive)
{
    directive.kind = Directive::Kind::Publish;
    if (words[0] == "region-data") {
        return ParseRegionData(words, directive);
    }
    if (words[0] == "visibility") {
        return ParseVisibility(words, directive);
    }
    if (words[0] == "palette") {
        return ParsePalette(words, directive);
    }
    return Refuse("unknown directive " + Quoted(words[0]));
}

bool Parser::ParseWait(const Words& words, Directive& directive)
{
    directive.kind = Directive::Kind::WaitSubscribers;
    if (!HasArguments(words, 1, "wait-subscribers SUBSCRIPTION")) {
        return false;
    }
    if (!ParseNumber(words[1], 255, directive.number) || !Subscriptions::Exists(directive.number)) {
        return Refuse("there is no subscription " + Quoted(words[1]) +
                      "; there are 1, 2, 3, 4, 6, 10 and 12");
    }
    return true;
}

bool Parser::ParseRegionData(const Words& words, Directive& directive)
{
    RegionDataItem record;
    return HasArguments(words, 3, "region-data REGION FORMAT DATA") &&
           Byte(words[1], "region", record.regionId) &&
           Byte(words[2], "format", record.subtitleFormat) && Bytes(words[3], record.data) &&
           Finish(subscriptions::ForFormat(record.subtitleFormat), messages::regionDataItem, record,
                  directive);
}

bool Parser::ParseVisibility(const Words& words, Directive& directive)
{
    RegionVisItem record;
    bool visible = false;
    if (!HasArguments(words, 2, "visibility REGION t|f") ||
        !Byte(words[1], "region", record.regionId) || !TrueOrFalse(words[2], "visible", visible)) {
        return false;
    }
    record.visible = visible;
    return Finish(subscriptions::regionVisibility, messages::regionVisItem, record, directive);
}

bool Parser::ParsePalette(const Words& words, Directive& directive)
{
    PaletteItem record;
    return HasArguments(words, 4, "palette REGION BACKGROUND t|f DATA") &&
           Byte(words[1], "region", record.regionId) &&
           Byte(words[2], "background code", record.backgroundCode) &&
           TrueOrFalse(words[3], "fill", record.fill) && Bytes(words[4], record.paletteData) &&
           Finish(subscriptions::palette, messages::paletteItem, record, directive);
}

bool Parser::HasArguments(const Words& words, std::size_t count, const char* usage)
{
    return words.size() == count + 1 || Refuse(std::string("expected: ") + usage);
}

bool Parser::Byte(const std::string& word, const char* what, unsigned char& value)
{
    unsigned int number = 0;
    if (!ParseNumber(word, 255, number)) {
        return Refuse(std::string(what) + " " + Quoted(word) + " is not a number from 0 to 255");
    }
    value = static_cast<unsigned char>(number);
    return true;
}

bool Parser::TrueOrFalse(const std::string& word, const char* what, bool& value)
{
    value = word == "t";
    return value || word == "f" ||
           Refuse(std::string(what) + " " + Quoted(word) + " is not t or f");
}

bool Parser::Bytes(const std::string& word, std::vector<unsigned char>& bytes)
{
    if (word == "-") {
        return true;
    }
    if (word[0] != '@') {
        return ParseHex(word, bytes) || Refuse(Quoted(word) + " is not hex bytes, @FILE or -");
    }
    const std::string name = word.substr(1);
    const auto found = files.find(name);
    if (found != files.end()) {
        bytes.assign(found->second.begin(), found->second.end());
        return true;
    }
    std::string contents;
    std::string problem;
    if (!ReadFileContents(name[0] == '/' ? name : folder + name, maxPayload, contents, problem)) {
        return Refuse(Quoted(word) + " cannot be read: " + problem);
    }
    bytes.assign(contents.begin(), contents.end());
    files.emplace(name, std::move(contents));
    return true;
}

bool Parser::Finish(unsigned int subscription, unsigned int itemId, const Item& record,
                    Directive& directive)
{
    if (record.EncodedSize() > maxPayload) {
        return Refuse("a record of more than 16 MiB");
    }
    directive.number = subscription;
    directive.frame = EncodeNotification(subscription, itemId, record);
    return true;
}

}  // namespace

bool ParseScenario(const std::string& text, const std::string& path, Scenario& scenario,
                   std::string& problem)
{
    Parser parser(path);
    unsigned int lineNumber = 0;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        ++lineNumber;
        if (!parser.ParseLine(text.substr(start, end - start), scenario)) {
            problem = path + ":" + std::to_string(lineNumber) + ": " + parser.Reason();
            return false;
        }
        start = end + 1;
    }
    return true;
}

bool LoadScenario(const std::string& path, Scenario& scenario, std::string& problem)
{
    std::string text;
    if (!ReadFileContents(path, maxScenario, text, problem)) {
        problem = path + ": cannot be read: " + problem;
        return false;
    }
    return ParseScenario(text, path, scenario, problem);
}

}  // namespace sim
