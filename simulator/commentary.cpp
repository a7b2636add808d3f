#include "simulator/commentary.h"

#include <cerrno>
#include <cstdio>
#include <sys/uio.h>
#include <unistd.h>

namespace sim {

namespace {

iovec Piece(const char* text, std::size_t length)
{
    // writev() takes what it only reads as a pointer to something it could change.
    return {const_cast<char*>(text), length};
}

/// In pieces: a line may have to tell that there is no memory.
void WriteLine(const char* who, std::size_t whoLength, const std::string& text)
{
    static const char program[] = "SubtitleMgrSim: ";
    const iovec pieces[] = {Piece(program, sizeof program - 1), Piece(who, whoLength),
                            Piece(text.data(), text.size()), Piece("\n", 1)};
    // A line that cannot be written is lost: nobody reads it, and the service goes on.
    while (writev(STDERR_FILENO, pieces, 4) < 0 && errno == EINTR) {
    }
}

}  // namespace

void Say(const std::string& text) { WriteLine("", 0, text); }

void Commentary::Tell(unsigned int client, const char* what, const std::string& details)
{
    char who[128];
    const int length = std::snprintf(who, sizeof who, "client %u: %s", client, what);
    WriteLine(who, static_cast<std::size_t>(length), details);
}

}  // namespace sim
