#pragma once

#include <string>

namespace platform {

/// The level of errors, see LogClient::Level().
constexpr unsigned logErrors = 2;

/// Writes one complete entry, see SysLogMsg. Never waits, throws or changes errno. An entry that is
/// lost is counted; the next one that is written is preceded by the count.
void WriteLogEntry(unsigned level, const std::string& processName, const std::string& text);

/// Where entries go: a file, or the socket of the system log.
std::string LogPlace();

/// Makes an entry like any other. \return why it is lost now, an errno value; 0 if it is not
int TryLog(const std::string& processName, const std::string& text);

/// Makes an error entry of the messaging library itself when that level is on.
///
/// \param kind  literal of an entry that a peer causes: 20 of each kind are made in a second, then
///              one with the number of the others; null for every other entry
void LogFromLibrary(const std::string& text, const char* kind = nullptr);

/// Reports the entries held back in each second that is over, with \p all also in the current one.
void LogHeldBack(bool all);

}  // namespace platform
