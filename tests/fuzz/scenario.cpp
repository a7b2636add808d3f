// Any text as a scenario: it is refused with the line of its first mistake, or each line becomes
// one directive with well-formed notifications under the right subscription.

#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/reference_frames.h"

#include "simulator/scenario.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

using namespace sim;

namespace {

/// The folder of the scenario has a bitmap, an empty file and a folder.
const std::string& ScenarioPath()
{
    static const std::string path = [] {
        std::ofstream(ScratchFolder() + "/bitmap") << "\x01\x02\xff";
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

void CheckPublication(const Directive& directive)
{
    std::string bytes(directive.frame->begin(), directive.frame->end());
    ReferenceFrame frame;
    Require(TakeFrame(bytes, frame) == StreamEnd::Complete && bytes.empty() && frame.kind == 3,
            "a line does not publish exactly one notification");
    Require(ReferenceIsWellFormed(frame.messageId, frame.payload), "a malformed record");
    Require(frame.correlation == directive.number && SubscriptionOf(frame) == directive.number,
            "a wrong subscription");
}

std::size_t CountDirectives(const std::string& text)
{
    std::istringstream lines(text);
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line);) {
        line.erase(std::min(line.find('#'), line.size()));
        count += line.find_first_not_of(" \t\r") != std::string::npos ? 1u : 0u;
    }
    return count;
}

std::string FirstLines(const std::string& text, std::size_t count)
{
    std::size_t end = 0;
    for (std::size_t i = 0; i < count && end < text.size(); ++i) {
        end = std::min(text.find('\n', end), text.size() - 1) + 1;
    }
    return text.substr(0, end);
}

void CheckAccepted(const std::string& text, const Scenario& scenario)
{
    Require(scenario.size() == CountDirectives(text), "not one directive for each line");
    for (const Directive& directive : scenario) {
        if (directive.kind == Directive::Kind::Publish) {
            CheckPublication(directive);
        }
    }
}

void CheckRefused(const std::string& text, const std::string& problem)
{
    const std::string start = ScenarioPath() + ":";
    Require(problem.compare(0, start.size(), start) == 0, "a reason has no file name");
    for (const char c : problem) {
        Require(c >= 0x20 && c < 0x7F, "a reason has control characters");
    }
    const std::size_t line = std::strtoul(problem.c_str() + start.size(), nullptr, 10);
    Scenario scenario;
    std::string same;
    Require(line > 0 && ParseScenario(FirstLines(text, line - 1), ScenarioPath(), scenario, same),
            "an earlier line than the named one has a mistake");
    Require(!ParseScenario(FirstLines(text, line), ScenarioPath(), scenario, same),
            "the named line has no mistake");
    RequireEqual(same, problem, "a wrong reason");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string text(bytes, bytes + size);
    if (text.find("@/") != std::string::npos || text.find("..") != std::string::npos) {
        return 0;  // might open a file outside the folder
    }
    Scenario scenario;
    std::string problem;
    if (ParseScenario(text, ScenarioPath(), scenario, problem)) {
        CheckAccepted(text, scenario);
    } else {
        CheckRefused(text, problem);
    }
    return 0;
}
