#pragma once

#include <string>

namespace sim {

/// Writes one line about the service itself on standard error, in one piece.
void Say(const std::string& text);

/// The lines on standard error that say what the service does for its clients.
class Commentary {
public:
    /// \param quiet  no line for a request that is served; refusals and losses are always told
    explicit Commentary(bool keepQuiet) : quiet(keepQuiet) {}

    /// Whether a served request is told at all; asked first, so that no text is made for nothing.
    bool TellsServed() const { return !quiet; }

    /// Writes a line about a client.
    ///
    /// \param client   its number, counted from 1 in order of connection
    /// \param what     the kind of line, always the same text for one kind
    /// \param details  what differs between lines of one kind
    static void Tell(unsigned int client, const char* what, const std::string& details = "");

private:
    bool quiet;
};

}  // namespace sim
