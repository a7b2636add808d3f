#include "simulator/commentary.h"

#include <cerrno>
#include <unistd.h>

void Say(const std::string& text)
{
    const std::string line = "SubtitleMgrSim: " + text + "\n";
    // A line that cannot be written is lost: nobody reads it, and the service goes on.
    while (write(STDERR_FILENO, line.data(), line.size()) < 0 && errno == EINTR) {
    }
}

void Commentary::Tell(unsigned int client, const std::string& text)
{
    Say("client " + std::to_string(client) + ": " + text);
}
