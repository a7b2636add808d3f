#pragma once

#include "recording/line_fields.h"
#include "recording/line_input.h"

#include <string>

namespace recording {

/// Reads a recording line by line as its bytes come in.
///
/// The whole format is checked. Reading ends at the first mistake; the lines before it are valid.
/// A stream may begin without a header, have the lines of several writers, and have lines that a
/// broker sent twice: where its times run backwards, the later ones are shifted.
class Reader {
public:
    enum class Start { WithHeader, HeaderOptional };
    enum class Found { Line, NeedsInput, End, Mistake };

    /// \param nameOfInput  for the mistake
    explicit Reader(std::string nameOfInput, Start startToExpect = Start::WithHeader);

    /// Room for at least one byte of input. The bytes of lines found before are no longer valid.
    char* Room(std::size_t& size) { return input.Room(size); }
    void Received(std::size_t count) { input.Received(count); }
    void EndInput() { ended = true; }

    /// \param line  the next line; the reader owns its bytes
    Found Next(AnyLine& line);

    /// `FILE:LINE:COLUMN: reason`; the column counts bytes.
    const std::string& Mistake() const { return mistakeText; }

    /// The number of the line found last, from 1.
    std::size_t LineNumber() const { return lineNumber; }

    /// Where in the input the line found last begins, and where it ends with its newline.
    std::uint64_t Offset() const { return offset; }
    std::uint64_t EndOffset() const { return input.EndOffset(); }

private:
    bool ReadLine(char* text, std::size_t length, AnyLine& line, LineMistake& mistake);
    bool CheckOrder(const AnyLine& line, Moment& at, LineMistake& mistake);
    Found EndOfInput();
    Found Fail(const LineMistake& mistake);

    std::string name;
    Start start;
    LineInput input;
    LineFields fields;
    std::size_t lineNumber = 0;
    std::uint64_t offset = 0;
    std::int64_t lastMonoUs = 0;
    std::int64_t shiftUs = 0;  ///< added to the times of a stream
    bool ended = false;
    std::string mistakeText;
};

}  // namespace recording
