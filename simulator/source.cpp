#include "simulator/source.h"

#include "simulator/recording_source.h"
#include "simulator/scenario_source.h"

#include "platform/src/descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace platform;
using namespace sim;

static bool IsRecording(const Descriptor& file)
{
    struct stat found {};
    char first = '\0';
    return file && fstat(file.Get(), &found) == 0 && S_ISREG(found.st_mode) &&
           pread(file.Get(), &first, 1, 0) == 1 && first == '{';
}

std::unique_ptr<Source> sim::OpenSource(const std::string& path, std::vector<std::string>& mistakes)
{
    if (path == "-") {
        return std::make_unique<RecordingSource>();
    }
    // Non-blocking: opening a pipe that has no writer would wait for one.
    Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (IsRecording(file)) {
        return std::make_unique<RecordingSource>(path, std::move(file));
    }
    Scenario scenario;
    return LoadScenario(path, scenario, mistakes)
               ? std::make_unique<ScenarioSource>(std::move(scenario))
               : nullptr;
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
