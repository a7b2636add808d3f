#include "simulator/play/source.h"

#include "simulator/journal/file_claim.h"
#include "simulator/play/recording_source.h"
#include "simulator/play/scenario_source.h"

#include "platform/src/descriptor.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace platform;
using namespace sim;

namespace {

/// Does not wait for the writer of a pipe.
Descriptor Open(const std::string& path)
{
    return Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
}

bool IsRecording(const Descriptor& file)
{
    struct stat found {};
    char first = '\0';
    return file && fstat(file.Get(), &found) == 0 && S_ISREG(found.st_mode) &&
           pread(file.Get(), &first, 1, 0) == 1 && first == '{';
}

/// Claims \p file until it is closed.
bool MayRead(const Descriptor& file, const std::string& path, std::vector<std::string>& mistakes)
{
    const bool mayRead = !file || Claim(file.Get(), Use::Reads);
    if (!mayRead) {
        mistakes.push_back(path + ": is being recorded");
    }
    return mayRead;
}

}  // namespace

std::unique_ptr<Source> sim::OpenSource(const std::string& path, std::vector<std::string>& mistakes)
{
    if (path == "-") {
        return std::make_unique<RecordingSource>();
    }
    Descriptor file = Open(path);
    if (!MayRead(file, path, mistakes)) {
        return nullptr;
    }
    if (IsRecording(file)) {
        return std::make_unique<RecordingSource>(path, std::move(file));
    }
    Scenario scenario;
    return LoadScenario(path, scenario, mistakes)
               ? std::make_unique<ScenarioSource>(std::move(scenario), std::move(file))
               : nullptr;
}

std::unique_ptr<Source> sim::OpenRecording(const std::string& path,
                                           std::vector<std::string>& mistakes)
{
    Descriptor file = Open(path);
    if (!file) {
        mistakes.push_back(path + ": cannot be read: " + std::strerror(errno));
    } else if (!IsRecording(file)) {
        mistakes.push_back(path + ": is not a recording");
    } else if (MayRead(file, path, mistakes)) {
        return std::make_unique<RecordingSource>(path, std::move(file));
    }
    return nullptr;
}

bool sim::IsPlayable(Source& source, std::vector<std::string>& mistakes)
{
    if (source.IsLoaded() || !source.Rewind()) {
        return true;
    }
    for (Source::Found found = Source::Found::Step; found != Source::Found::End;) {
        const Step* step = nullptr;
        Budget budget;
        found = source.Next(step, budget);
        if (found == Source::Found::Mistake) {
            mistakes.push_back(source.Mistake());
            return false;
        }
    }
    return source.Rewind();
}
