#pragma once

#include <string>

namespace sim {

/// The lines on standard error. None of these waits, throws or fails, see platform::Sink: what
/// could not be written is counted, and the count is told later.
///
/// Writes one line about the service itself.
void Say(const char* text, const char* details = "", const char* start = "SubtitleMgrSim: ");

/// Says `ready` on standard output.
void SayReady();

/// Tries again what the outputs have not taken yet, and tells what was held back of lines about
/// clients, \p atEnd also in the second that is not over.
/// \return milliseconds until the next call, -1 when there is nothing to wait for
int SettleOutputs(bool atEnd = false);

/// The lines that say what the service does for its clients. Peers cannot fill a disk with them: of
/// one kind, 20 are written in a second, and the others are counted.
class Commentary {
public:
    /// \param quiet  no line for a request that is served; refusals and losses are always told
    explicit Commentary(bool keepQuiet) : quiet(keepQuiet) {}

    /// Whether a served request is told at all; asked first, so that no text is made for nothing.
    bool TellsServed() const { return !quiet; }

    /// Writes a line about a request that was served; as many as there are.
    static void TellServed(unsigned int client, const char* remark, const std::string& request);

    /// Writes a line about a client.
    ///
    /// \param client   its number, counted from 1 in order of connection
    /// \param what     the kind of line, always the same text for one kind
    /// \param details  what differs between lines of one kind
    static void Tell(unsigned int client, const char* what, const std::string& details = "");

    /// Writes a line about clients that have no number.
    static void Tell(const char* what);

private:
    bool quiet;
};

}  // namespace sim
