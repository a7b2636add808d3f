#pragma once

#include <string>

namespace sim {

// The lines on standard error. None of these functions waits, throws or fails, see platform::Sink:
// lines that could not be written are counted, and the count is written later.

/// Writes a line about the service itself.
void Say(const char* text, const char* details = "", const char* start = "SubtitleMgrSim: ");

/// Writes `ready` on standard output, or on standard error when a journal has standard output.
void SayReady(bool onErrors);

/// Writes a line about a client. Of each kind 20 lines are written in a second and the others are
/// counted, so that peers cannot fill a disk.
///
/// \param client   its number, counted from 1 in order of connection; 0 when it has none
/// \param kind     always the same text for one kind of line
/// \param details  what differs between lines of one kind
void Tell(unsigned int client, const char* kind, const std::string& details = "");

/// Writes a line about a request that was served, without a limit.
void TellServed(unsigned int client, const char* remark, const std::string& request);

/// Writes the lines that had no room before, and the number of lines about clients that were held
/// back, with \p atEnd also those of the current second.
/// \return milliseconds until the next call, -1 when there is nothing to wait for
int SettleOutputs(bool atEnd = false);

}  // namespace sim
