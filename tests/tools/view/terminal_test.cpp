#include "tests/tools/view/ViewSession.h"

#include "tests/harness/text_compare.h"

#include <fcntl.h>

namespace {

using Terminal = ViewSession;

const std::string recording = Recording()
                                  .Palette(3, {0, 128, 128, 0, 235, 128, 128, 0})
                                  .Data(3, 2, {1, 0, 1, 1})
                                  .Visibility(3, true)
                                  .Data(5, 7, {0, 3})
                                  .WithHeader();

TEST_F(Terminal, DrawsEachRegion)
{
    const Ended ended = Run({"terminal", "--width=2", "-"}, recording);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.errors, "");
    EXPECT_TEXT(ended.output, "region 3 cif visible\n"
                              "\x1b[38;2;255;255;255m\x1b[48;2;255;255;255m▀\x1b[49m▄\x1b[0m\n"
                              "region 5 format 7 hidden, no palette\n"
                              "\x1b[38;2;0;0;0m▀\x1b[38;2;255;255;255m▀\x1b[0m\n");
}

TEST_F(Terminal, DrawsWithoutColour)
{
    const std::string drawing = "region 3 cif visible\n"
                                "█▄\n";
    EXPECT_TEXT(Run({"terminal", "--no-color", "--width=2", "--region=3", "-"}, recording).output,
                drawing);
    ChildProcess::Options settings;
    settings.environment["NO_COLOR"] = "1";
    EXPECT_TEXT(Run({"terminal", "--width=2", "--region=3", "-"}, recording, settings).output,
                drawing);
}

using FullOutput = ViewSession;

TEST_F(FullOutput, EndsEachCommand)
{
    const platform::Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    ChildProcess::Options settings;
    settings.output = full.Get();
    const std::vector<std::string> commands[] = {
        {"terminal", "-"}, {"page", "-"}, {"png", "-o", "-", "-"}, {"pcapng", "-o", "-", "-"}};
    for (const auto& words : commands) {
        std::vector<std::string> arguments{VIEW_PROGRAM};
        arguments.insert(arguments.end(), words.begin(), words.end());
        ChildProcess program(arguments, settings);
        program.Write(recording);
        if (words[0] != "pcapng") {  // more could follow
            program.CloseInput();
        }
        EXPECT_EQ(program.WaitForExit(), 1) << words[0];
        EXPECT_TEXT(program.Errors(), "SubtitleMgrView: standard output cannot be written\n");
    }
}

}  // namespace
