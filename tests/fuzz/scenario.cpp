// Any text as a scenario: it is refused with the place of each mistake, or its steps are as many as
// a simple reader of repeats counts, with well-formed notifications under the right subscription.

#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/reference_frames.h"

#include "simulator/play/scenario.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

using namespace sim;

namespace {

/// The folder of the scenario has a bitmap, an empty file and a scenario of two steps.
const std::string& ScenarioPath()
{
    static const std::string path = [] {
        std::ofstream(ScratchFolder() + "/bitmap") << "\x01\x02\xff";
        std::ofstream(ScratchFolder() + "/two") << "log one\nsleep 5\nlog two\n";
        const std::ofstream empty(ScratchFolder() + "/empty");
        return ScratchFolder() + "/play";
    }();
    return path;
}

unsigned int SubscriptionOf(const ReferenceFrame& frame)
{
    switch (frame.messageId) {
    case reference::regionData: {
        const unsigned int format = static_cast<unsigned char>(frame.payload.at(1));
        return format > 2 ? 12 : format + 2;
    }
    case reference::visibility: return 6;
    case reference::palette: return 10;
    default: return 0;
    }
}

void CheckPublication(const Step& step)
{
    std::string bytes(step.frame->begin(), step.frame->end());
    ReferenceFrame frame;
    Require(TakeFrame(bytes, frame) == StreamEnd::Complete && bytes.empty() && frame.kind == 3,
            "a line does not publish exactly one notification");
    Require(ReferenceIsWellFormed(frame.messageId, frame.payload), "a malformed record");
    Require(frame.correlation == step.subscription && SubscriptionOf(frame) == step.subscription,
            "a wrong subscription");
}

std::vector<std::string> LinesOf(const std::string& text)
{
    std::istringstream input(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(input, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> WordsOf(std::string line)
{
    line.erase(std::min(line.find('#'), line.size()));
    std::vector<std::string> words;
    for (std::size_t at = 0; (at = line.find_first_not_of(" \t\r", at)) != std::string::npos;) {
        const std::size_t end = std::min(line.find_first_of(" \t\r", at), line.size());
        words.push_back(line.substr(at, end - at));
        at = end;
    }
    return words;
}

/// The steps of a right scenario.
std::size_t CountSteps(const std::string& text)
{
    struct Block {
        std::size_t times;
        std::size_t steps;
    };
    std::vector<Block> blocks = {{1, 0}};
    for (const std::string& line : LinesOf(text)) {
        const std::vector<std::string> words = WordsOf(line);
        if (words.empty() || words[0] == "sleep") {
            continue;
        }
        if (words[0] == "repeat") {
            blocks.push_back({std::strtoul(words[1].c_str(), nullptr, 10), 0});
        } else if (words[0] == "end") {
            const Block inner = blocks.back();
            blocks.pop_back();
            blocks.back().steps += inner.times * inner.steps;
        } else if (words[0] != "include") {
            ++blocks.back().steps;
        } else if (words[1] == "two") {
            blocks.back().steps += 2;
        }
    }
    return blocks.front().steps;
}

void CheckAccepted(const std::string& text, const Scenario& scenario)
{
    Require(scenario.steps.size() == CountSteps(text), "a wrong number of steps");
    std::set<SharedFrame> checked;
    std::int64_t lastUs = 0;
    for (const Step& step : scenario.steps) {
        Require(step.atUs >= lastUs && step.atUs <= scenario.lengthUs, "a wrong time");
        lastUs = step.atUs;
        if (step.kind == Step::Kind::Publish && checked.insert(step.frame).second) {
            CheckPublication(step);
        }
    }
}

bool IsOpenRepeat(const std::string& mistake)
{
    const std::string end = ": repeat without end";
    return mistake.size() > end.size() &&
           mistake.compare(mistake.size() - end.size(), end.size(), end) == 0;
}

/// The first \p count lines have no mistake, except that they may end inside a repeat.
void CheckRightBeginning(const std::vector<std::string>& lines, std::size_t count)
{
    std::string beginning;
    for (std::size_t i = 0; i < count; ++i) {
        beginning += lines[i] + "\n";
    }
    Scenario scenario;
    std::vector<std::string> mistakes;
    ParseScenario(beginning, ScenarioPath(), scenario, mistakes);
    Require(std::all_of(mistakes.begin(), mistakes.end(), IsOpenRepeat),
            "a line before the first mistake is wrong");
}

void CheckRefused(const std::string& text, const std::vector<std::string>& mistakes)
{
    Require(!mistakes.empty() && mistakes.size() <= 21, "a wrong number of mistakes");
    const std::vector<std::string> lines = LinesOf(text);
    const std::string start = ScenarioPath() + ":";
    for (const std::string& mistake : mistakes) {
        Require(std::all_of(mistake.begin(), mistake.end(),
                            [](char c) { return c >= 0x20 && c < 0x7F; }),
                "a mistake has control characters");
        if (mistake.compare(0, start.size(), start) != 0) {
            const std::string other = ScratchFolder() + "/";
            Require(mistake.compare(0, other.size(), other) == 0, "a mistake has no file name");
            continue;
        }
        unsigned long line = 0;
        unsigned long column = 0;
        const bool isLast = &mistake == &mistakes.back() && mistakes.size() == 21;
        if (!isLast) {
            Require(std::sscanf(mistake.c_str() + start.size(), "%lu:%lu: ", &line, &column) == 2 &&
                        line > 0 && line <= lines.size() && column > 0 &&
                        column <= lines[line - 1].size(),
                    "a mistake has no place in the text");
        }
        if (&mistake == &mistakes.front() && !IsOpenRepeat(mistake)) {
            CheckRightBeginning(lines, line - 1);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string text(bytes, bytes + size);
    if (text.find('/') != std::string::npos) {
        return 0;  // might open a file outside the folder
    }
    Scenario scenario;
    std::vector<std::string> mistakes;
    if (ParseScenario(text, ScenarioPath(), scenario, mistakes)) {
        CheckAccepted(text, scenario);
    } else {
        CheckRefused(text, mistakes);
    }
    return 0;
}
