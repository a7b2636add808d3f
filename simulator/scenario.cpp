#include "simulator/scenario.h"

#include "simulator/subscriptions.h"

#include "platform/src/wire_format.h"
#include "words/file_contents.h"
#include "words/text.h"
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <algorithm>
#include <map>

using namespace platform;
using namespace sim;
using namespace words;

namespace {

using Words = std::vector<std::string>;

constexpr std::size_t maxScenario = 64 * 1024 * 1024;

/// Turns lines into directives.
class Parser {
public:
    explicit Parser(const std::string& path) : folder(path.substr(0, path.rfind('/') + 1)) {}

    /// \return why \p line is wrong; empty when it is not
    std::string ParseLine(const std::string& line, Scenario& scenario)
    {
        const Words words = Split(line);
        if (words.empty()) {
            return "";
        }
        const auto known = publications.find(words);
        const Directive directive = known == publications.end() ? Parse(words) : known->second;
        if (directive.kind == Directive::Kind::Publish) {
            publications.emplace(words, directive);
        }
        scenario.push_back(directive);
        return reason;
    }

private:
    Directive Parse(const Words& words)
    {
        static const struct {
            const char* word;
            std::size_t words;
            const char* usage;
            Directive (Parser::*parse)(const Words& words);
        } directives[] = {
            {"sleep", 2, "sleep MILLISECONDS", &Parser::Sleep},
            {"wait-subscribers", 2, "wait-subscribers SUBSCRIPTION", &Parser::WaitSubscribers},
            {"region-data", 4, "region-data REGION FORMAT DATA", &Parser::RegionData},
            {"visibility", 3, "visibility REGION t|f", &Parser::Visibility},
            {"palette", 5, "palette REGION BACKGROUND t|f DATA", &Parser::Palette},
        };
        for (const auto& known : directives) {
            if (words[0] == known.word && words.size() == known.words) {
                return (this->*known.parse)(words);
            }
            if (words[0] == known.word) {
                return Refuse(std::string("expected: ") + known.usage);
            }
        }
        return Refuse("unknown directive " + Quoted(words[0]));
    }

    Directive Sleep(const Words& words)
    {
        unsigned int milliseconds = 0;
        if (!ParseNumber(words[1], milliseconds)) {
            Refuse(Quoted(words[1]) + " is not a number of milliseconds");
        }
        return {Directive::Kind::Sleep, milliseconds, nullptr};
    }

    Directive WaitSubscribers(const Words& words)
    {
        unsigned int subscription = 0;
        if (!ParseNumber(words[1], subscription) || ItemOf(subscription) == 0) {
            Refuse("there is no subscription " + Quoted(words[1]) +
                   "; there are 1, 2, 3, 4, 6, 10 and 12");
        }
        return {Directive::Kind::WaitSubscribers, subscription, nullptr};
    }

    Directive RegionData(const Words& words)
    {
        RegionDataItem record;
        record.regionId = Byte("region ", words[1]);
        record.subtitleFormat = Byte("format ", words[2]);
        record.data = Bytes(words[3]);
        return Publication(subscriptions::ForFormat(record.subtitleFormat), record);
    }

    Directive Visibility(const Words& words)
    {
        RegionVisItem record;
        record.regionId = Byte("region ", words[1]);
        record.visible = TrueOrFalse("visible ", words[2]);
        return Publication(subscriptions::regionVisibility, record);
    }

    Directive Palette(const Words& words)
    {
        PaletteItem record;
        record.regionId = Byte("region ", words[1]);
        record.backgroundCode = Byte("background code ", words[2]);
        record.fill = TrueOrFalse("fill ", words[3]);
        record.paletteData = Bytes(words[4]);
        return Publication(subscriptions::palette, record);
    }

    unsigned char Byte(const char* what, const std::string& word)
    {
        unsigned int number = 0;
        if (!ParseNumber(word, number) || number > 255) {
            Refuse(what + Quoted(word) + " is not a number from 0 to 255");
        }
        return static_cast<unsigned char>(number);
    }

    bool TrueOrFalse(const char* what, const std::string& word)
    {
        if (word != "t" && word != "f") {
            Refuse(what + Quoted(word) + " is not t or f");
        }
        return word == "t";
    }

    std::vector<unsigned char> Bytes(const std::string& word)
    {
        std::vector<unsigned char> bytes;
        if (word[0] == '@') {
            const std::string path = (word[1] == '/' ? "" : folder) + word.substr(1);
            std::string contents;
            std::string problem;
            if (!ReadFile(path, maxPayload, contents, problem)) {
                Refuse(Quoted(word) + " cannot be read: " + problem);
            }
            bytes.assign(contents.begin(), contents.end());
        } else if (word != "-" && !ParseHex(word, bytes)) {
            Refuse(Quoted(word) + " is not hex bytes, @FILE or -");
        }
        return bytes;
    }

    Directive Publication(unsigned int subscription, const Item& record)
    {
        if (record.EncodedSize() > maxPayload) {
            return Refuse("a record of more than 16 MiB");
        }
        const SharedFrame frame = EncodeNotification(subscription, record);
        return frame ? Directive{Directive::Kind::Publish, subscription, frame}
                     : Refuse("there is no memory for it");
    }

    /// Keeps the first mistake. \return an empty directive
    Directive Refuse(const std::string& why)
    {
        reason = reason.empty() ? why : reason;
        return {};
    }

    const std::string folder;  ///< of the files after @; empty or with a slash at the end
    std::string reason;
    std::map<Words, Directive> publications;  ///< so that a repeated line is encoded once
};

}  // namespace

bool sim::ParseScenario(const std::string& text, const std::string& path, Scenario& scenario,
                        std::string& problem)
{
    Parser parser(path);
    unsigned int lineNumber = 0;
    std::string reason;
    for (std::size_t start = 0; start < text.size() && reason.empty(); ++lineNumber) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        reason = parser.ParseLine(text.substr(start, end - start), scenario);
        start = end + 1;
    }
    problem = reason.empty() ? "" : path + ":" + std::to_string(lineNumber) + ": " + reason;
    return reason.empty();
}

bool sim::LoadScenario(const std::string& path, Scenario& scenario, std::string& problem)
{
    std::string text;
    if (!ReadFile(path, maxScenario, text, problem)) {
        problem = path + ": cannot be read: " + problem;
        return false;
    }
    return ParseScenario(text, path, scenario, problem);
}
