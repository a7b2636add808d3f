// Any text as a recording: it is refused with the place of its first mistake, or read correctly.
// The result does not depend on how the text is cut.
//
// Input: choices of the header and the pieces, then the text.

#include "tests/fuzz/choices.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/harness/recording_text.h"

#include "recording/reader.h"
#include "recording/writer.h"

#include <algorithm>
#include <cstring>

using namespace recording;

namespace {

struct Reading {
    std::string lines;  ///< the messages that were read, written again
    std::size_t count = 0;
    std::string mistake;
};

void AppendRead(Reading& reading, const AnyLine& line)
{
    ++reading.count;
    if (const auto* const header = std::get_if<Header>(&line)) {
        AppendLine(reading.lines, *header);
        return;
    }
    // A line without its bytes is no message that can be played or written.
    const auto append = [&reading](const auto* message) {
        if (message && message->data.AreThere()) {
            AppendLine(reading.lines, *message);
        }
    };
    append(std::get_if<Request>(&line));
    append(std::get_if<Notification>(&line));
}

Reading ReadInPieces(const std::string& text, Reader::Start start, std::size_t piece)
{
    Reading reading;
    reading.mistake = ReadRecording(text, start, piece,
                                    [&reading](const AnyLine& line) { AppendRead(reading, line); });
    return reading;
}

std::size_t TakeNumber(const std::string& text, std::size_t& at)
{
    std::size_t number = 0;
    for (; text.at(at) != ':'; ++at) {
        Require(text[at] >= '0' && text[at] <= '9', "a mistake has no line and column");
        number = number * 10 + static_cast<std::size_t>(text[at] - '0');
    }
    ++at;
    return number;
}

/// The mistake must be in the line after those that were read, or just after its end.
void CheckPlace(const std::string& text, const Reading& reading)
{
    std::size_t at = std::strlen("drive:");
    Require(reading.mistake.compare(0, at, "drive:") == 0, "a mistake has no file name");
    const std::size_t line = TakeNumber(reading.mistake, at);
    const std::size_t column = TakeNumber(reading.mistake, at);
    Require(line == reading.count + 1, "a mistake is not in the first wrong line");
    std::size_t start = 0;
    for (std::size_t i = 1; i < line; ++i) {
        start = text.find('\n', start) + 1;
    }
    const std::size_t length = std::min(text.find('\n', start), text.size()) - start;
    Require(column >= 1 && column <= length + 1, "a column is outside the line");
    Require(IsPlain(reading.mistake), "a mistake has control characters");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Choices choices(bytes, size);
    const auto start =
        choices.Byte() % 2 == 0 ? Reader::Start::WithHeader : Reader::Start::HeaderOptional;
    const std::size_t piece = 1 + choices.Byte();
    const std::string text = choices.Rest();
    const Reading whole = ReadInPieces(text, start, std::max<std::size_t>(text.size(), 1));
    const Reading inPieces = ReadInPieces(text, start, piece);
    Require(inPieces.lines == whole.lines, "pieces were read differently");
    Require(inPieces.mistake == whole.mistake, "pieces have another mistake");
    if (!whole.mistake.empty()) {
        CheckPlace(text, whole);
    }
    const Reading again = ReadInPieces(whole.lines, Reader::Start::HeaderOptional, piece);
    Require(again.mistake.empty(), "the text that was written again is refused");
    Require(again.lines == whole.lines, "the text that was written again was read differently");
    return 0;
}
