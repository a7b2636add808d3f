#include "simulator/play/line_parser.h"

#include "simulator/clients/subscriptions.h"

#include "platform/src/wire_format.h"
#include "words/file_contents.h"
#include "words/nearest_word.h"
#include "words/times.h"
#include "words/truth.h"
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <algorithm>
#include <iterator>
#include <utility>

using namespace platform;
using namespace sim;
using namespace words;

namespace {

constexpr std::string_view formats[] = {"hd", "sd", "cif"};  // by their numbers

}  // namespace

LineParser::LineParser(Place placeOfLines, std::string folderOfFiles)
    : place(placeOfLines), folder(std::move(folderOfFiles))
{
}

const Directive* LineParser::Find(const Line& line)
{
    mistakes.clear();
    for (std::size_t i = 0; i < line.words.size(); ++i) {
        if (line.words[i].find('\0') != std::string::npos) {  // it would end a file name
            mistakes.push_back({line.columns[i], "a NUL character"});
            return nullptr;
        }
    }
    std::string problem;
    const Directive* const found = FindDirective(line.words, place, problem);
    if (found == nullptr) {
        mistakes.push_back({line.columns.front(), problem});
    }
    return found;
}

bool LineParser::Publication(const Line& line, Step& step)
{
    current = &line;
    step.kind = Step::Kind::Publish;
    const std::string& word = line.words.front();
    if (word == "region-data") {
        RegionData(step);
    } else if (word == "visibility") {
        Visibility(step);
    } else {
        Palette(step);
    }
    return mistakes.empty();
}

void LineParser::RegionData(Step& step)
{
    RegionDataItem record;
    record.regionId = Byte(1, "region ");
    record.subtitleFormat = Format(2);
    record.data = Bytes(3);
    Publish(step, subscriptions::ForFormat(record.subtitleFormat), record);
}

void LineParser::Visibility(Step& step)
{
    RegionVisItem record;
    record.regionId = Byte(1, "region ");
    record.visible = TrueOrFalse(2, "visible ");
    Publish(step, subscriptions::regionVisibility, record);
}

void LineParser::Palette(Step& step)
{
    PaletteItem record;
    record.regionId = Byte(1, "region ");
    record.backgroundCode = Byte(2, "background code ");
    record.fill = TrueOrFalse(3, "fill ");
    record.paletteData = Bytes(4);
    Publish(step, subscriptions::palette, record);
}

bool LineParser::WaitSubscribers(const Line& line, Step& step)
{
    current = &line;
    step.kind = Step::Kind::WaitSubscribers;
    if (!ParseNumber(line.words[1], step.subscription) || ItemOf(step.subscription) == 0) {
        Refuse(1, "there is no subscription " + Quoted(line.words[1]) +
                      "; there are 1, 2, 3, 4, 6, 10 and 12");
    }
    return mistakes.empty();
}

bool LineParser::Log(const Line& line, Step& step)
{
    std::string text;
    for (std::size_t i = 1; i < line.words.size(); ++i) {
        text += (i > 1 ? " " : "") + line.words[i];
    }
    const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
    std::replace_if(text.begin(), text.end(), isControl, '?');
    step.kind = Step::Kind::Log;
    step.text = std::make_shared<const std::string>(std::move(text));
    return true;
}

bool LineParser::Sleep(const Line& line, std::int64_t& us)
{
    current = &line;
    if (!ParseTime(line.words[1], us, usPerSecond / 1000)) {
        Refuse(1, Quoted(line.words[1]) + " is not a time like 500 (milliseconds), 500ms or 2s");
    }
    return mistakes.empty();
}

unsigned char LineParser::Byte(std::size_t index, const char* what)
{
    unsigned int number = 0;
    if (!ParseNumber(current->words[index], number) || number > 255) {
        Refuse(index, what + Quoted(current->words[index]) + " is not a number from 0 to 255");
    }
    return static_cast<unsigned char>(number);
}

unsigned char LineParser::Format(std::size_t index)
{
    const std::string& word = current->words[index];
    const auto* const named = std::find(std::begin(formats), std::end(formats), word);
    auto number = static_cast<unsigned int>(named - formats);
    if (named == std::end(formats) && (!ParseNumber(word, number) || number > 255)) {
        Refuse(index, "format " + Quoted(word) + " is not hd, sd, cif or a number from 0 to 255" +
                          Suggestion(word, {std::begin(formats), std::end(formats)}));
    }
    return static_cast<unsigned char>(number);
}

bool LineParser::TrueOrFalse(std::size_t index, const char* what)
{
    const std::string& word = current->words[index];
    bool truth = false;
    if (!ParseTruth(word, truth)) {
        Refuse(index, what + NotATruth(word));
    }
    return truth;
}

std::vector<unsigned char> LineParser::Bytes(std::size_t index)
{
    const std::string& word = current->words[index];
    std::vector<unsigned char> bytes;
    if (word[0] == '@') {
        const std::string path = (word[1] == '/' ? "" : folder) + word.substr(1);
        std::string contents;
        std::string problem;
        if (!ReadFile(path, maxPayload, contents, problem)) {
            Refuse(index, Quoted(word) + " cannot be read: " + problem);
        }
        bytes.assign(contents.begin(), contents.end());
    } else if (word != "-" && !ParseHex(word, bytes)) {
        Refuse(index, Quoted(word) + " is not hex bytes, @FILE or -");
    }
    return bytes;
}

void LineParser::Publish(Step& step, unsigned int subscription, const Item& record)
{
    if (!mistakes.empty()) {
        return;
    }
    const std::size_t last = current->words.size() - 1;
    if (record.EncodedSize() > maxPayload) {
        Refuse(last, "a record of more than 16 MiB");
        return;
    }
    step.subscription = subscription;
    step.frame = EncodeNotification(subscription, record);
    if (!step.frame) {
        Refuse(last, "there is no memory for it");
    }
}

void LineParser::Refuse(std::size_t index, const std::string& reason)
{
    mistakes.push_back({current->columns[index], reason});
}
