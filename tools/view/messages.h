#pragma once

#include "platform/src/descriptor.h"
#include "recording/reader.h"

#include <cstdint>
#include <optional>
#include <string>

namespace view {

/// The lines of a recording up to a moment.
class Messages {
public:
    /// \param path     `-` for standard input, which may begin without a header
    /// \param untilUs  since the first message; nothing for the end
    Messages(const std::string& path, std::optional<std::int64_t> untilUs);

    /// The bytes are valid until the next call.
    /// \return null at the moment, the end, a mistake or a signal that is caught
    const recording::AnyLine* NextLine();

    /// The next line that is a notification. One without its bytes is a mistake.
    const recording::Notification* Next();

    /// Of a recording that is not whole; empty for none.
    const std::string& Mistake() const { return mistake; }

    /// The number of the line found last, from 1.
    std::size_t LineNumber() const { return reader.LineNumber(); }

    /// The offsets in the file where that line begins, and where it ends with its newline.
    std::uint64_t Offset() const { return reader.Offset(); }
    std::uint64_t EndOffset() const { return reader.EndOffset(); }

    /// From the first message, which may be a request.
    std::int64_t SinceFirstUs(const recording::Moment& at) const { return at.monoUs - *firstUs; }

    /// Of the file.
    int Descriptor() const { return file.Get(); }

private:
    /// Whether the line is not after the moment.
    bool IsWanted();
    /// \return false when a signal was caught instead
    bool Read();

    const std::string name;
    const std::optional<std::int64_t> untilUs;
    platform::Descriptor file;
    recording::Reader reader;
    recording::AnyLine line;
    std::optional<std::int64_t> firstUs;
    std::string mistake;
};

}  // namespace view
