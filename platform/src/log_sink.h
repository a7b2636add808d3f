#pragma once

#include <string>

namespace platform {

/// Levels of log entries, one bit each, as LogClient::Level() masks them.
constexpr unsigned logErrors = 2;
constexpr unsigned logNotes = 8;

/// Writes one complete entry, see SysLogMsg. Never waits, throws or changes errno; an entry that is
/// lost is counted, and the count is told before the next one that is not.
void WriteLogEntry(unsigned level, const std::string& processName, const std::string& text);

/// Makes an entry of the messaging library itself, when its level is on; nothing when \p text is
/// empty, so that a reason found under a lock can be handed on and logged outside it.
///
/// \param kind  of an entry about a peer, a literal: of each kind 20 are made in a second, and then
///              one with the number of the others; null for an entry that no peer causes
void LogFromLibrary(unsigned level, const std::string& text, const char* kind = nullptr);

/// Tells of the entries held back in each second that is over, with \p all also in the others.
void LogHeldBack(bool all);

}  // namespace platform
