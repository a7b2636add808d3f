// Any text as a scenario: refused with the place of its first mistake, or read as what it says.

#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/reference_frames.h"

#include "simulator/scenario.h"

#include <algorithm>
#include <fstream>
#include <sstream>

using namespace sim;

namespace {

/// Where the scenario stands: beside a bitmap, an empty file and a folder.
const std::string& ScenarioPath()
{
    static const std::string path = [] {
        std::ofstream(ScratchFolder() + "/bitmap") << "\x01\x02\xff";
        const std::ofstream empty(ScratchFolder() + "/empty");
        return ScratchFolder() + "/play";
    }();
    return path;
}

std::string Hex(const std::string& bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const unsigned int byte = static_cast<unsigned char>(c);
        text += {digits[byte >> 4], digits[byte & 15]};
    }
    return text.empty() ? "-" : text;
}

std::string Number(const std::string& payload, std::size_t at)
{
    return std::to_string(static_cast<unsigned int>(static_cast<unsigned char>(payload.at(at))));
}

std::string TrueOrFalse(const std::string& payload, std::size_t at)
{
    return payload.at(at) == '\0' ? "f" : "t";
}

/// The directive that publishes the encoded notification \p bytes, and nothing but that.
std::string PublicationLine(const std::string& bytes, unsigned int subscription)
{
    std::string stream = bytes;
    ReferenceFrame frame;
    Require(TakeFrame(stream, frame) == StreamEnd::Complete && stream.empty() && frame.kind == 3,
            "not one notification");
    const std::string& record = frame.payload;
    Require(ReferenceIsWellFormed(frame.messageId, record), "a malformed record");
    Require(frame.correlation == subscription, "not the subscription of the directive");
    switch (frame.messageId) {
    case reference::regionData: {
        const unsigned int format = static_cast<unsigned char>(record.at(1));
        Require(subscription == (format > 2 ? 12 : format + 2), "not the format's subscription");
        return "region-data " + Number(record, 0) + " " + Number(record, 1) + " " +
               Hex(record.substr(6));
    }
    case reference::visibility:
        Require(subscription == 6, "not the subscription of visibility");
        return "visibility " + Number(record, 0) + " " + TrueOrFalse(record, 1);
    case reference::palette:
        Require(subscription == 10, "not the subscription of palettes");
        return "palette " + Number(record, 0) + " " + Number(record, 1) + " " +
               TrueOrFalse(record, 2) + " " + Hex(record.substr(7));
    default: Require(false, "a record of no kind"); return "";
    }
}

/// The scenario as a text again.
std::string Written(const Scenario& scenario)
{
    std::string text;
    for (const Directive& directive : scenario) {
        switch (directive.kind) {
        case Directive::Kind::Sleep: text += "sleep " + std::to_string(directive.number); break;
        case Directive::Kind::WaitSubscribers:
            text += "wait-subscribers " + std::to_string(directive.number);
            break;
        case Directive::Kind::Publish:
            text += PublicationLine(std::string(directive.frame->begin(), directive.frame->end()),
                                    directive.number);
            break;
        }
        text += "\n";
    }
    return text;
}

/// The lines of \p text that say something, in the form of Written(), as far as words and comments
/// decide; no number or byte is looked at.
std::size_t CountDirectives(const std::string& text)
{
    std::istringstream lines(text);
    std::string line;
    std::size_t count = 0;
    while (std::getline(lines, line)) {
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
    Require(scenario.size() == CountDirectives(text), "another number of directives than lines");
    const std::string written = Written(scenario);
    Scenario again;
    std::string problem;
    Require(ParseScenario(written, ScenarioPath(), again, problem), "what it says is refused");
    RequireEqual(Written(again), written, "read otherwise the second time");
}

void CheckRefused(const std::string& text, const std::string& problem)
{
    const std::string start = ScenarioPath() + ":";
    Require(problem.compare(0, start.size(), start) == 0, "a reason without the file's name");
    std::size_t line = 0;
    for (std::size_t at = start.size(); problem.at(at) != ':'; ++at) {
        Require(problem[at] >= '0' && problem[at] <= '9', "a reason without a line's number");
        line = line * 10 + static_cast<std::size_t>(problem[at] - '0');
    }
    for (const char c : problem) {
        Require(c >= 0x20 && c < 0x7F, "a reason that steers a terminal");
    }
    Scenario scenario;
    std::string none;
    Require(line > 0 && ParseScenario(FirstLines(text, line - 1), ScenarioPath(), scenario, none),
            "a mistake before the line that the reason names");
    std::string same;
    Require(!ParseScenario(FirstLines(text, line), ScenarioPath(), scenario, same),
            "no mistake in the line that the reason names");
    RequireEqual(same, problem, "another reason");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string text(bytes, bytes + size);
    // Files elsewhere are whatever this machine has: left to the tests that bring their own.
    if (text.find("@/") != std::string::npos || text.find("..") != std::string::npos) {
        return 0;
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
