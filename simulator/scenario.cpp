#include "simulator/scenario.h"

#include "simulator/file_contents.h"
#include "simulator/subscriptions.h"

#include "platform/src/wire_format.h"
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <algorithm>
#include <charconv>
#include <map>
#include <string_view>

namespace sim {

using namespace platform;

namespace {

using Words = std::vector<std::string>;

constexpr std::size_t maxScenario = 64 * 1024 * 1024;

/// Words of a line, without its comment.
Words SplitWords(const std::string& line)
{
    static const char blanks[] = " \t\r";
    const std::size_t end = std::min(line.find('#'), line.size());
    Words words;
    for (std::size_t at = 0; (at = line.find_first_not_of(blanks, at)) < end;) {
        const std::size_t next = std::min(line.find_first_of(blanks, at), end);
        words.push_back(line.substr(at, next - at));
        at = next;
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

/// \return whether \p digits are a number and nothing else
bool ParseNumber(std::string_view digits, unsigned int& number, int base = 10)
{
    const char* const last = digits.data() + digits.size();
    const auto [end, error] = std::from_chars(digits.data(), last, number, base);
    return error == std::errc() && end == last;
}

bool ParseHex(const std::string& word, std::vector<unsigned char>& bytes)
{
    bytes.reserve(word.size() / 2);
    for (std::size_t i = 0; i + 2 <= word.size(); i += 2) {
        unsigned int byte = 0;
        if (!ParseNumber(std::string_view(word).substr(i, 2), byte, 16)) {
            return false;
        }
        bytes.push_back(static_cast<unsigned char>(byte));
    }
    return word.size() % 2 == 0;
}

/// Turns lines into directives.
class Parser {
public:
    explicit Parser(const std::string& path)
        : folder(path.find('/') == std::string::npos ? "" : path.substr(0, path.rfind('/') + 1))
    {
    }

    /// \return false with the reason in Reason()
    bool ParseLine(const std::string& line, Scenario& scenario)
    {
        const Words words = SplitWords(line);
        Directive directive;
        const auto known = publications.find(words);
        if (known != publications.end()) {
            directive = known->second;
        } else if (words.empty() || !ParseWords(words, directive)) {
            return words.empty();
        } else if (directive.kind == Directive::Kind::Publish) {
            publications.emplace(words, directive);
        }
        scenario.push_back(directive);
        return true;
    }

    const std::string& Reason() const { return reason; }

private:
    bool ParseWords(const Words& words, Directive& directive)
    {
        static const struct {
            const char* word;
            std::size_t words;
            const char* usage;
            bool (Parser::*parse)(const Words& words, Directive& directive);
        } directives[] = {
            {"sleep", 2, "sleep MILLISECONDS", &Parser::ParseSleep},
            {"wait-subscribers", 2, "wait-subscribers SUBSCRIPTION", &Parser::ParseWait},
            {"region-data", 4, "region-data REGION FORMAT DATA", &Parser::ParseRegionData},
            {"visibility", 3, "visibility REGION t|f", &Parser::ParseVisibility},
            {"palette", 5, "palette REGION BACKGROUND t|f DATA", &Parser::ParsePalette},
        };
        for (const auto& known : directives) {
            if (words[0] == known.word) {
                return words.size() == known.words
                           ? (this->*known.parse)(words, directive)
                           : Refuse(std::string("expected: ") + known.usage);
            }
        }
        return Refuse("unknown directive " + Quoted(words[0]));
    }

    bool ParseSleep(const Words& words, Directive& directive)
    {
        directive.kind = Directive::Kind::Sleep;
        return ParseNumber(words[1], directive.number) ||
               Refuse(Quoted(words[1]) + " is not a number of milliseconds");
    }

    bool ParseWait(const Words& words, Directive& directive)
    {
        directive.kind = Directive::Kind::WaitSubscribers;
        return (ParseNumber(words[1], directive.number) && ItemOf(directive.number) != 0) ||
               Refuse("there is no subscription " + Quoted(words[1]) +
                      "; there are 1, 2, 3, 4, 6, 10 and 12");
    }

    bool ParseRegionData(const Words& words, Directive& directive)
    {
        RegionDataItem record;
        return Byte(words[1], "region", record.regionId) &&
               Byte(words[2], "format", record.subtitleFormat) && Bytes(words[3], record.data) &&
               Finish(subscriptions::ForFormat(record.subtitleFormat), record, directive);
    }

    bool ParseVisibility(const Words& words, Directive& directive)
    {
        RegionVisItem record;
        bool visible = false;
        if (!Byte(words[1], "region", record.regionId) ||
            !TrueOrFalse(words[2], "visible", visible)) {
            return false;
        }
        record.visible = visible;
        return Finish(subscriptions::regionVisibility, record, directive);
    }

    bool ParsePalette(const Words& words, Directive& directive)
    {
        PaletteItem record;
        return Byte(words[1], "region", record.regionId) &&
               Byte(words[2], "background code", record.backgroundCode) &&
               TrueOrFalse(words[3], "fill", record.fill) && Bytes(words[4], record.paletteData) &&
               Finish(subscriptions::palette, record, directive);
    }

    bool Byte(const std::string& word, const char* what, unsigned char& value)
    {
        unsigned int number = 0;
        if (!ParseNumber(word, number) || number > 255) {
            return Refuse(std::string(what) + " " + Quoted(word) +
                          " is not a number from 0 to 255");
        }
        value = static_cast<unsigned char>(number);
        return true;
    }

    bool TrueOrFalse(const std::string& word, const char* what, bool& value)
    {
        value = word == "t";
        return value || word == "f" ||
               Refuse(std::string(what) + " " + Quoted(word) + " is not t or f");
    }

    bool Bytes(const std::string& word, std::vector<unsigned char>& bytes)
    {
        if (word == "-") {
            return true;
        }
        if (word[0] != '@') {
            return ParseHex(word, bytes) || Refuse(Quoted(word) + " is not hex bytes, @FILE or -");
        }
        const std::string name = word.substr(1);
        std::string contents;
        std::string problem;
        if (!ReadFileContents(name[0] == '/' ? name : folder + name, maxPayload, contents,
                              problem)) {
            return Refuse(Quoted(word) + " cannot be read: " + problem);
        }
        bytes.assign(contents.begin(), contents.end());
        return true;
    }

    bool Finish(unsigned int subscription, const Item& record, Directive& directive)
    {
        if (record.EncodedSize() > maxPayload) {
            return Refuse("a record of more than 16 MiB");
        }
        directive.kind = Directive::Kind::Publish;
        directive.number = subscription;
        directive.frame = EncodeNotification(subscription, record);
        return directive.frame || Refuse("there is no memory for it");
    }

    bool Refuse(const std::string& why)
    {
        reason = why;
        return false;
    }

    const std::string folder;  ///< of files that are named; empty or with a slash at the end
    std::string reason;
    std::map<Words, Directive> publications;  ///< a line that is repeated is encoded once
};

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
