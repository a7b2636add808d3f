// Any text as a scenario: each of its mistakes names its file, or its steps have rising times and
// well-formed notifications.

#include "tests/fuzz/frames.h"
#include "tests/fuzz/fuzz_target.h"

#include "simulator/play/scenario.h"

using namespace sim;

namespace {

/// The folder of the scenario has a bitmap, an empty file and a scenario of two steps.
const std::string& ScenarioPath()
{
    static const std::string path = [] {
        WriteWholeFile(Scratch() / "bitmap", "\x01\x02\xff");
        WriteWholeFile(Scratch() / "two", "log one\nsleep 5\nlog two\n");
        WriteWholeFile(Scratch() / "empty", "");
        return Scratch() / "play";
    }();
    return path;
}

void CheckPublication(const Step& step)
{
    FrameHeader header{};
    Require(DecodeFrameHeader(step.frame->data(), header) == nullptr &&
                header.kind == FrameKind::Notification &&
                step.frame->size() == frameHeaderSize + header.length,
            "a line does not publish exactly one notification");
    const std::string payload(step.frame->begin() + frameHeaderSize, step.frame->end());
    Require(IsSound(header.messageId, payload), "a malformed record");
    Require(header.correlation == step.subscription, "a wrong subscription");
}

void CheckAccepted(const Scenario& scenario)
{
    std::int64_t lastUs = 0;
    SharedFrame checked;
    for (const Step& step : scenario.steps) {
        Require(step.atUs >= lastUs && step.atUs <= scenario.lengthUs, "a wrong time");
        lastUs = step.atUs;
        if (step.kind == Step::Kind::Publish && step.frame != checked) {
            CheckPublication(step);
            checked = step.frame;
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
        CheckAccepted(scenario);
        return 0;
    }
    Require(!mistakes.empty() && mistakes.size() <= 21, "a wrong number of mistakes");
    for (const std::string& mistake : mistakes) {
        Require(IsPlain(mistake), "a mistake has control characters");
        Require(mistake.compare(0, Scratch().Path().size(), Scratch().Path()) == 0,
                "a mistake has no file name");
    }
    return 0;
}
