#pragma once

#include "recording/lines.h"

namespace recording {

/// Whether a line has the bytes of its bitmap or palette: those of a recording do, those of a
/// journal do not.
enum class Bytes { Written, LeftOut };

/// Each appends one line with its newline. The text is valid JSON and UTF-8 with any names, and has
/// the same bytes on every machine.
void AppendLine(std::string& text, const Header& header);
void AppendLine(std::string& text, const Notification& notification, Bytes = Bytes::Written);
void AppendLine(std::string& text, const Request& request, Bytes = Bytes::Written);

/// Now on both clocks.
Moment Now();

}  // namespace recording
