#include "simulator/line_parser.h"

#include "simulator/subscriptions.h"

#include "platform/src/wire_format.h"
#include "words/file_contents.h"
#include "words/nearest_word.h"
#include "words/times.h"
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <algorithm>
#include <utility>

using namespace platform;
using namespace sim;
using namespace words;

namespace {

struct NamedNumber {
    std::string_view word;
    unsigned char number;
};

constexpr NamedNumber formats[] = {{"hd", 0}, {"sd", 1}, {"cif", 2}};
constexpr NamedNumber truths[] = {{"true", 1}, {"false", 0}, {"yes", 1}, {"no", 0},
                                  {"on", 1},   {"off", 0},   {"t", 1},   {"f", 0}};

template <std::size_t count>
const NamedNumber* FindNumber(const NamedNumber (&known)[count], std::string_view word)
{
    const auto* const found = std::find_if(
        known, known + count, [&](const NamedNumber& one) { return one.word == word; });
    return found == known + count ? nullptr : found;
}

template <std::size_t count>
std::string NearestOf(const NamedNumber (&known)[count], std::string_view word)
{
    std::vector<std::string_view> candidates;
    for (const NamedNumber& one : known) {
        candidates.push_back(one.word);
    }
    return Suggestion(word, candidates);
}

}  // namespace

LineParser::LineParser(Place placeOfLines, std::string folderOfFiles)
    : place(placeOfLines), folder(std::move(folderOfFiles))
{
}

const Directive* LineParser::Find(const Line& toRead)
{
    mistakes.clear();
    std::string problem;
    const Directive* const found = FindDirective(toRead.words, place, problem);
    if (found == nullptr) {
        mistakes.push_back({toRead.columns.front(), problem});
    }
    return found;
}

bool LineParser::Publication(const Line& toRead, Step& step)
{
    line = &toRead;
    step.kind = Step::Kind::Publish;
    switch (toRead.words.front().front()) {
    case 'r': RegionData(step); break;
    case 'v': Visibility(step); break;
    default: Palette(step); break;
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

bool LineParser::WaitSubscribers(const Line& toRead, Step& step)
{
    line = &toRead;
    step.kind = Step::Kind::WaitSubscribers;
    if (!ParseNumber(toRead.words[1], step.subscription) || ItemOf(step.subscription) == 0) {
        Refuse(1, "there is no subscription " + Quoted(toRead.words[1]) +
                      "; there are 1, 2, 3, 4, 6, 10 and 12");
    }
    return mistakes.empty();
}

bool LineParser::Log(const Line& toRead, Step& step)
{
    std::string text;
    for (std::size_t i = 1; i < toRead.words.size(); ++i) {
        text += (i > 1 ? " " : "") + toRead.words[i];
    }
    const auto isControl = [](char c) { return (c >= 0 && c < 0x20) || c == 0x7F; };
    std::replace_if(text.begin(), text.end(), isControl, '?');
    step.kind = Step::Kind::Log;
    step.text = std::make_shared<const std::string>(std::move(text));
    return true;
}

bool LineParser::Sleep(const Line& toRead, std::int64_t& us)
{
    line = &toRead;
    if (!ParseTime(toRead.words[1], us, usPerSecond / 1000)) {
        Refuse(1, Quoted(toRead.words[1]) + " is not a time like 500 (milliseconds), 500ms or 2s");
    }
    return mistakes.empty();
}

unsigned char LineParser::Byte(std::size_t index, const char* what)
{
    unsigned int number = 0;
    if (!ParseNumber(line->words[index], number) || number > 255) {
        Refuse(index, what + Quoted(line->words[index]) + " is not a number from 0 to 255");
    }
    return static_cast<unsigned char>(number);
}

unsigned char LineParser::Format(std::size_t index)
{
    const std::string& word = line->words[index];
    if (const NamedNumber* const named = FindNumber(formats, word)) {
        return named->number;
    }
    unsigned int number = 0;
    if (!ParseNumber(word, number) || number > 255) {
        Refuse(index, "format " + Quoted(word) + " is not hd, sd, cif or a number from 0 to 255" +
                          NearestOf(formats, word));
    }
    return static_cast<unsigned char>(number);
}

bool LineParser::TrueOrFalse(std::size_t index, const char* what)
{
    const std::string& word = line->words[index];
    const NamedNumber* const named = FindNumber(truths, word);
    if (named == nullptr) {
        Refuse(index, what + Quoted(word) + " is not true or false" + NearestOf(truths, word));
    }
    return named != nullptr && named->number != 0;
}

std::vector<unsigned char> LineParser::Bytes(std::size_t index)
{
    const std::string& word = line->words[index];
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
    const std::size_t last = line->words.size() - 1;
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
    mistakes.push_back({line->columns[index], reason});
}
