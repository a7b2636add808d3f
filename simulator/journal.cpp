#include "simulator/journal.h"

#include "simulator/commentary.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>

namespace sim {

using namespace platform;

bool Journal::Open(const std::string& path, std::string& problem)
{
    file =
        Descriptor(open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0666));
    if (!file) {
        problem = "journal " + path + ": " + std::strerror(errno);
    }
    return static_cast<bool>(file);
}

void Journal::Add(const Request& request)
{
    if (file && !WriteAll(file.Get(), JournalLine(request) + "\n") && !complained) {
        complained = true;
        Say(std::string("the journal is not complete: ") + std::strerror(errno));
    }
}

}  // namespace sim
