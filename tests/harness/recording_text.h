#pragma once

#include "recording/reader.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>

/// Reads \p text until its end or its first mistake, and calls \p use with each line.
///
/// \param piece  how many bytes arrive at once
/// \return the mistake; empty if there is none
template <typename Use>
std::string ReadRecording(const std::string& text, recording::Reader::Start start,
                          std::size_t piece, Use use)
{
    recording::Reader reader("drive", start);
    recording::AnyLine line;
    for (std::size_t at = 0;;) {
        switch (reader.Next(line)) {
        case recording::Reader::Found::Line: use(line); break;
        case recording::Reader::Found::End: return "";
        case recording::Reader::Found::Mistake: return reader.Mistake();
        case recording::Reader::Found::NeedsInput: {
            std::size_t room = 0;
            char* const bytes = reader.Room(room);
            const std::size_t count = std::min({room, piece, text.size() - at});
            std::memcpy(bytes, text.data() + at, count);
            reader.Received(count);
            at += count;
            if (at == text.size()) {
                reader.EndInput();
            }
        }
        }
    }
}

/// The mistake in a whole recording.
inline std::string MistakeOfRecording(const std::string& text)
{
    return ReadRecording(text, recording::Reader::Start::WithHeader, text.size(),
                         [](const auto&) {});
}
