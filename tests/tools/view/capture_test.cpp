#include "tests/tools/view/ViewSession.h"

#include "tests/harness/text_compare.h"
#include "tests/harness/wait_limits.h"

#include <csignal>
#include <cstring>
#include <filesystem>

namespace {

const Recording recording = Recording().Data(3, 2, {0, 3}).Visibility(3, true);

class Capture : public ViewSession {
protected:
    Ended MakeCapture(const std::string& input) const
    {
        return Run({"pcapng", "-o", path, "-"}, input);
    }

    /// The capture of the recording as standard output has it.
    static std::string Whole()
    {
        return Run({"pcapng", "-o", "-", "-"}, recording.WithHeader()).output;
    }

    const std::string path = files / "drive.pcapng";
};

TEST_F(Capture, HasAPacketForEachMessage)
{
    const Ended ended = MakeCapture(recording.WithHeader());
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output + ended.errors, "");
    const std::string capture = ReadWholeFile(path);
    EXPECT_EQ(capture, Whole());
    EXPECT_LT(capture.find("\x3B\x19"), capture.find("\x3B\x1C"));
    EXPECT_NE(capture.find("\x3B\x1C"), std::string::npos);
    // A stream may have no header, and then an interface has no name.
    EXPECT_EQ(Run({"pcapng", "-o", "-", "-"}, recording.WithoutHeader()).output.size(),
              capture.size() - std::strlen("SubtitleMgr") - 1);
}

TEST_F(Capture, IsWrittenWhileMessagesCome)
{
    ChildProcess program({VIEW_PROGRAM, "pcapng", "-o", "-", "-"});
    program.Write(recording.WithHeader());
    program.WaitForOutput("\x3B\x19");  // both messages, though the input has not ended
    program.WaitForOutput("\x3B\x1C");
    program.CloseInput();
    EXPECT_EQ(program.WaitForExit(), 0);
}

TEST_F(Capture, IsFinishedAfterAnInterrupt)
{
    ChildProcess program({VIEW_PROGRAM, "pcapng", "-o", path, "-"});
    program.Write(recording.WithHeader());
    WaitUntil([&] { return !std::filesystem::is_empty(files.Path()); },
              [] { return "the temporary file"; });
    program.Signal(SIGINT);  // of the terminal, to all programs of a pipeline
    program.CloseInput();
    EXPECT_EQ(program.WaitForExit(), 0);
    EXPECT_EQ(ReadWholeFile(path), Whole());
}

TEST_F(Capture, HasWhatCameBeforeAMistake)
{
    const Ended ended = MakeCapture(recording.WithHeader() + "{");
    EXPECT_EQ(ended.status, 2);
    EXPECT_TEXT(ended.errors,
                "SubtitleMgrView: -:4:2: the line has no end; the recording is incomplete\n");
    EXPECT_EQ(ReadWholeFile(path), Whole());
}

TEST_F(Capture, EndsWhenItCannotBeWritten)
{
    const std::string input = recording.WithHeader();
    EXPECT_TEXT(Run({"pcapng", "-o", files / "no/such", "-"}, input).errors,
                "SubtitleMgrView: " + (files / "no/such") + ": No such file or directory\n");
    const std::string inTheWay = files / "folder";
    std::filesystem::create_directory(inTheWay);
    EXPECT_TEXT(Run({"pcapng", "-o", inTheWay, "-"}, input).errors,
                "SubtitleMgrView: " + inTheWay + ": Is a directory\n");
    std::filesystem::remove(inTheWay);
    EXPECT_EQ(MakeCapture("{}\n").status, 2);
    EXPECT_TRUE(std::filesystem::is_empty(files.Path()));
}

}  // namespace
