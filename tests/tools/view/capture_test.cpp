#include "tests/tools/view/ViewSession.h"

#include "tests/harness/text_compare.h"
#include "tests/harness/wait_limits.h"

#include <csignal>
#include <filesystem>

namespace {

using Numbers = std::vector<unsigned int>;

constexpr unsigned int section = 0x0A0D0D0A;
constexpr unsigned int interface = 1;
constexpr unsigned int packet = 6;

unsigned int NumberAt(const std::string& bytes, std::size_t offset)
{
    unsigned int number = 0;
    for (std::size_t i = offset + 4; i-- > offset;) {
        number = number << 8 | static_cast<unsigned char>(bytes.at(i));
    }
    return number;
}

/// The types of the blocks of a capture.
Numbers Blocks(const std::string& capture)
{
    Numbers types;
    for (std::size_t at = 0; at < capture.size();) {
        const std::size_t length = NumberAt(capture, at + 4);
        EXPECT_EQ(NumberAt(capture, at + length - 4), length);
        types.push_back(NumberAt(capture, at));
        at += length;
    }
    return types;
}

const Recording recording = Recording().Data(3, 2, {0, 3}).Visibility(3, true);

class Capture : public ViewSession {
protected:
    Ended MakeCapture(const std::string& input) const
    {
        return Run({"pcapng", "-o", path, "-"}, input);
    }

    const std::string path = files / "drive.pcapng";
};

TEST_F(Capture, HasAPacketForEachMessage)
{
    const Ended ended = MakeCapture(recording.WithHeader());
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output + ended.errors, "");
    EXPECT_EQ(Blocks(ReadWholeFile(path)), (Numbers{section, interface, packet, packet}));
    EXPECT_EQ(Blocks(Run({"pcapng", "-o", "-", "-"}, recording.WithoutHeader()).output),
              (Numbers{section, interface, packet, packet}));
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
    EXPECT_EQ(Blocks(ReadWholeFile(path)), (Numbers{section, interface, packet, packet}));
}

TEST_F(Capture, HasWhatCameBeforeAMistake)
{
    const Ended ended = MakeCapture(recording.WithHeader() + "{");
    EXPECT_EQ(ended.status, 2);
    EXPECT_TEXT(ended.errors,
                "SubtitleMgrView: -:4:2: the line has no end; the recording is incomplete\n");
    EXPECT_EQ(Blocks(ReadWholeFile(path)), (Numbers{section, interface, packet, packet}));
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
