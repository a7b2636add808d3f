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
    sink.Use(file.Get());
    return static_cast<bool>(file);
}

void Journal::Add(const Request& request)
{
    if (file) {
        sink.Write([&] { return JournalLine(request) + "\n"; });
        Settle();
    }
}

int Journal::Settle()
{
    const bool isDone = sink.Flush();
    if (sink.Lost() > 0 && !complained) {
        complained = true;
        Say("the journal is not complete: ", sink.Reason());
    }
    return isDone ? -1 : Sink::retryMs;
}

}  // namespace sim
