#pragma once

#include <string>

namespace platform {

/// Levels of log entries, one bit each, as LogClient::Level() masks them.
constexpr unsigned logErrors = 2;
constexpr unsigned logNotes = 8;

/// Writes one complete entry to the sink, see SysLogMsg. Keeps errno.
void WriteLogEntry(unsigned level, const std::string& processName, const std::string& text);

/// Makes an entry of the messaging library itself, when its level is on; nothing when \p text is
/// empty, so that a reason found under a lock can be handed on and logged outside it.
void LogFromLibrary(unsigned level, const std::string& text);

}  // namespace platform
