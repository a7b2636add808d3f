#include "simulator/play/scenario.h"

#include "simulator/play/line_parser.h"

#include "words/file_contents.h"
#include "words/times.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <utility>

using namespace sim;
using namespace words;

namespace {

// What a scenario may cost.
constexpr std::size_t mostSteps = 1000000;
constexpr std::size_t mostText = 64 * 1024 * 1024;      ///< with all files that it includes
constexpr std::size_t mostRecords = 128 * 1024 * 1024;  ///< bytes of all frames
constexpr std::size_t mostIncludes = 1000;
constexpr std::size_t deepestInclude = 16;
constexpr std::size_t mostMistakes = 20;

constexpr char tooManySteps[] = "the scenario has more than 1000000 steps";
constexpr char tooLong[] = "the scenario is longer than 1000000000 seconds";
constexpr char tooMuchText[] = "the scenario and the files that it includes have more than 64 MiB";
constexpr char tooManyRecords[] = "the records of the scenario have more than 128 MiB";
constexpr char tooManyIncludes[] = "the scenario includes files more than 1000 times";

/// A repeat that has no end yet.
struct Repeat {
    std::size_t lineNumber;
    std::size_t column;
    unsigned int times;
    std::size_t firstStep;
    std::int64_t startUs;
};

/// A file that is being read; an included file is read before the rest of the including one.
struct File {
    const std::string path;
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    LineParser parser{Place::Scenario, folder};
    std::size_t lineNumber = 0;
    std::size_t column = 0;  ///< of the first word of the line
    std::vector<Repeat> repeats{};
};

class Loader {
public:
    Loader(Scenario& scenarioToFill, std::vector<std::string>& mistakesToFill)
        : scenario(scenarioToFill), mistakes(mistakesToFill)
    {
    }

    void ReadText(const std::string& text, const std::string& path)
    {
        textSize += text.size();
        File file{path};
        files.push_back(&file);
        for (std::size_t start = 0; start < text.size() && !isStopped; ++start) {
            const std::size_t end = std::min(text.find('\n', start), text.size());
            ++file.lineNumber;
            ReadLine(SplitLine(text.substr(start, end - start)));
            start = end;
        }
        for (const Repeat& open : file.repeats) {
            file.lineNumber = open.lineNumber;
            Refuse(open.column, "repeat without end");
        }
        files.pop_back();
    }

private:
    using Key = std::vector<std::string>;

    File& Current() { return *files.back(); }

    void ReadLine(const Line& line)
    {
        if (line.words.empty()) {
            return;
        }
        Current().column = line.columns[0];
        Key key = line.words;
        key.push_back(Current().folder);
        const auto known = publications.find(key);
        if (known != publications.end()) {
            Add(known->second);
            return;
        }
        if (const Directive* const directive = Current().parser.Find(line)) {
            Read(directive->word, line, std::move(key));
        } else if (line.words[0] == "repeat") {
            BeginRepeat(1);  // so that its end is no mistake
        }
        for (const LineMistake& mistake : Current().parser.Mistakes()) {
            Refuse(mistake.column, mistake.reason);
        }
    }

    void Read(std::string_view word, const Line& line, Key key)
    {
        static const struct {
            std::string_view word;
            void (Loader::*read)(const Line& line);
        } readers[] = {
            {"sleep", &Loader::ReadSleep},     {"wait-subscribers", &Loader::ReadWait},
            {"log", &Loader::ReadLog},         {"repeat", &Loader::ReadRepeat},
            {"include", &Loader::ReadInclude}, {"end", &Loader::ReadEnd},
        };
        for (const auto& reader : readers) {
            if (reader.word == word) {
                (this->*reader.read)(line);
                return;
            }
        }
        ReadPublication(line, std::move(key));
    }

    void ReadPublication(const Line& line, Key key)
    {
        Step step;
        if (!Current().parser.Publication(line, step)) {
            return;
        }
        recordsSize += step.frame->size();
        Limit(recordsSize <= mostRecords, tooManyRecords);
        publications.emplace(std::move(key), step);
        Add(std::move(step));
    }

    void ReadWait(const Line& line)
    {
        Step step;
        if (Current().parser.WaitSubscribers(line, step)) {
            Add(std::move(step));
        }
    }

    void ReadLog(const Line& line)
    {
        Step step;
        Current().parser.Log(line, step);
        Add(std::move(step));
    }

    void ReadSleep(const Line& line)
    {
        std::int64_t us = 0;
        if (Current().parser.Sleep(line, us) && Limit(us <= TimeLeft(), tooLong)) {
            scenario.lengthUs += us;
        }
    }

    void ReadRepeat(const Line& line)
    {
        unsigned int times = 0;
        if (!ParseNumber(line.words[1], times) || times == 0 || times > mostSteps) {
            Refuse(line.columns[1], Quoted(line.words[1]) + " is not a number from 1 to 1000000");
            times = 1;
        }
        BeginRepeat(times);
    }

    void BeginRepeat(unsigned int times)
    {
        Current().repeats.push_back({Current().lineNumber, Current().column, times,
                                     scenario.steps.size(), scenario.lengthUs});
    }

    void ReadEnd(const Line&)
    {
        if (Current().repeats.empty()) {
            Refuse(Current().column, "end without repeat");
            return;
        }
        const Repeat repeat = Current().repeats.back();
        Current().repeats.pop_back();
        Unroll(repeat.firstStep, repeat.startUs, repeat.times - 1);
    }

    /// Adds \p copies of the steps and the time since those of the arguments.
    void Unroll(std::size_t firstStep, std::int64_t startUs, unsigned int copies)
    {
        const std::size_t lastStep = scenario.steps.size();
        const std::size_t count = lastStep - firstStep;
        const std::int64_t us = scenario.lengthUs - startUs;
        if (copies == 0 || !Limit(count <= (mostSteps - lastStep) / copies, tooManySteps) ||
            !Limit(us <= TimeLeft() / copies, tooLong)) {
            return;
        }
        scenario.steps.reserve(lastStep + count * copies);
        for (std::size_t i = 0; i < count * copies; ++i) {
            Step copy = scenario.steps[firstStep + i];  // which may be a copy already
            copy.atUs += us;
            scenario.steps.push_back(std::move(copy));
        }
        scenario.lengthUs += us * copies;
    }

    void ReadInclude(const Line& line)
    {
        const std::string& name = line.words[1];
        const std::string path = (name[0] == '/' ? "" : Current().folder) + name;
        if (IsBeingRead(path)) {
            Refuse(line.columns[1], Quoted(name) + " includes itself");
        } else if (files.size() > deepestInclude) {
            Refuse(line.columns[1], "includes are nested more than 16 deep");
        } else if (Limit(++includes <= mostIncludes, tooManyIncludes)) {
            IncludeFile(path, line);
        }
    }

    void IncludeFile(const std::string& path, const Line& line)
    {
        const std::size_t left = mostText - textSize;
        std::string text;
        std::string problem;
        if (ReadFile(path, left, text, problem)) {
            ReadText(text, path);
        } else if (Limit(text.size() <= left, tooMuchText)) {
            Refuse(line.columns[1], Quoted(line.words[1]) + " cannot be read: " + problem);
        }
    }

    bool IsBeingRead(const std::string& path) const
    {
        return std::any_of(files.begin(), files.end(), [&](const File* file) {
            std::error_code isAbsent;
            return std::filesystem::equivalent(file->path, path, isAbsent);
        });
    }

    void Add(Step step)
    {
        if (Limit(scenario.steps.size() < mostSteps, tooManySteps)) {
            step.atUs = scenario.lengthUs;
            scenario.steps.push_back(std::move(step));
        }
    }

    std::int64_t TimeLeft() const { return longestTimeUs - scenario.lengthUs; }

    /// Refuses the rest of the scenario when a limit is not kept. \return \p isKept
    bool Limit(bool isKept, const char* reason)
    {
        if (!isKept) {
            Refuse(Current().column, reason);
            isStopped = true;
        }
        return isKept;
    }

    void Refuse(std::size_t column, const std::string& reason)
    {
        if (isStopped) {
            return;
        }
        isStopped = mistakes.size() == mostMistakes;
        mistakes.push_back(isStopped ? files.front()->path +
                                           ": more than 20 mistakes; the rest is not shown"
                                     : Current().path + ":" + std::to_string(Current().lineNumber) +
                                           ":" + std::to_string(column) + ": " + reason);
    }

    Scenario& scenario;
    std::vector<std::string>& mistakes;
    std::vector<File*> files;  ///< that are being read, the included one last
    std::size_t textSize = 0;
    std::size_t recordsSize = 0;
    std::size_t includes = 0;
    bool isStopped = false;            ///< by a limit
    std::map<Key, Step> publications;  ///< so that a repeated line is encoded once
};

}  // namespace

bool sim::ParseScenario(const std::string& text, const std::string& path, Scenario& scenario,
                        std::vector<std::string>& mistakes)
{
    Loader(scenario, mistakes).ReadText(text, path);
    return mistakes.empty();
}

bool sim::LoadScenario(const std::string& path, Scenario& scenario,
                       std::vector<std::string>& mistakes)
{
    std::string text;
    std::string problem;
    if (!ReadFile(path, mostText, text, problem)) {
        mistakes.push_back(path + ": cannot be read: " + problem);
        return false;
    }
    return ParseScenario(text, path, scenario, mistakes);
}
