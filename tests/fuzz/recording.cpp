// Any text as a recording: the result does not depend on how the text is cut, and what is read is
// the same when it is written again.
//
// Input: choices of the header and the pieces, then the text.

#include "tests/fuzz/choices.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/harness/recording_text.h"

#include "recording/reader.h"
#include "recording/writer.h"

#include <algorithm>

using namespace recording;

namespace {

struct Reading {
    std::string lines;  ///< the messages that were read, written again
    std::string mistake;
};

void AppendRead(Reading& reading, const AnyLine& line)
{
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
    Require(IsPlain(whole.mistake), "a mistake has control characters");
    const Reading again = ReadInPieces(whole.lines, Reader::Start::HeaderOptional, piece);
    Require(again.mistake.empty(), "the text that was written again is refused");
    Require(again.lines == whole.lines, "the text that was written again was read differently");
    return 0;
}
