#include "tests/tools/view/ViewSession.h"

#include "tests/harness/text_compare.h"

#include <csignal>
#include <filesystem>
#include <fstream>

namespace {

using Colours = std::vector<view::Colour>;

constexpr view::Colour none = view::transparent;
constexpr view::Colour black{0, 0, 0};
constexpr view::Colour white{255, 255, 255};
constexpr view::Colour magenta{255, 0, 255};

/// 0 transparent, 1 black, 2 white.
const Bytes palette{0, 128, 128, 0, 16, 128, 128, 0, 235, 128, 128, 0};

class Png : public ViewSession {
protected:
    std::vector<std::string> Files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            names.push_back(entry.path().filename());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
};

TEST_F(Png, ShowsWhatWasPublishedLast)
{
    Recording recording;
    recording.Palette(3, palette)
        .Data(3, 1, {2, 2, 2, 2})
        .Data(3, 0, {1, 2, 9})
        .Data(12, 2, {3, 4});
    recording.Palette(12, palette).Visibility(12, true).Visibility(3, true);
    recording.Data(4, 0, {1, 1}).Palette(4, palette).Visibility(4, true).Visibility(4, false);
    const Ended ended = MakePictures(recording);
    EXPECT_EQ(ended.status, 0);
    EXPECT_TEXT(ended.output, folder + "/region-03.png\n" + folder + "/region-04.png\n" + folder +
                                  "/region-12.png\n" + folder + "/screen.png\n");
    EXPECT_EQ(ended.errors, "");
    EXPECT_EQ(PixelsOf("region-03.png"), (Colours{black, white, magenta, none}));
    EXPECT_EQ(PixelsOf("region-04.png"), (Colours{black, black}));
    EXPECT_EQ(PixelsOf("region-12.png"), (Colours{magenta, magenta}));
    EXPECT_EQ(PixelsOf("screen.png"), (Colours{black, white, magenta, none, magenta, magenta}));
    EXPECT_EQ(ReadWholeFile(folder + "/region-03.palette"),
              std::string(palette.begin(), palette.end()));
}

TEST_F(Png, NotesAMissingPalette)
{
    const Ended ended = MakePictures(Recording().Data(3, 2, {0, 3}).Visibility(3, true));
    EXPECT_EQ(ended.status, 0);
    EXPECT_TEXT(ended.errors, "SubtitleMgrView: region 3 has no palette: shown in grey steps\n");
    EXPECT_EQ(PixelsOf("screen.png"), (Colours{black, white}));
}

TEST_F(Png, ShowsAMomentOfARegion)
{
    Recording recording;
    recording.Data(1, 2, {0, 0}).Data(2, 2, {3, 0}).Visibility(1, true).Data(2, 2, {3, 3});
    EXPECT_EQ(MakePictures(recording, {"--at", "2ms", "--region", "2"}).status, 0);
    EXPECT_EQ(Files(), std::vector<std::string>{"region-02.png"});
    EXPECT_EQ(PixelsOf("region-02.png"), (Colours{white, black}));
}

TEST_F(Png, ShowsEveryChange)
{
    Recording recording;
    recording.Palette(1, palette).Data(1, 0, {1, 2}).Visibility(1, true).Palette(1, {});
    const Ended ended = MakePictures(recording, {"--every-change"});
    EXPECT_EQ(ended.status, 0);
    // Named after the lines of the recording; the first is the header.
    EXPECT_EQ(Files(), (std::vector<std::string>{"region-01-000003.png", "region-01-000005.png",
                                                 "screen-000004.png", "screen-000005.png"}));
    EXPECT_EQ(PixelsOf("region-01-000003.png"), (Colours{black, white}));
    EXPECT_EQ(PixelsOf("screen-000005.png"), (Colours{{85, 85, 85}, {170, 170, 170}}));
}

TEST_F(Png, ReadsAndWritesStreams)
{
    Recording recording;
    recording.Data(1, 2, {0, 3}).Data(2, 2, {3, 0}).Visibility(2, true);
    const Ended region = Run({"png", "--width=2", "--scale=2", "--region=1", "-o", "-", "-"},
                             recording.WithoutHeader());
    EXPECT_EQ(region.status, 0);
    EXPECT_EQ(DecodedPng(region.output).pixels,
              (Colours{black, black, white, white, black, black, white, white}));
    const Ended screen = Run({"png", "--width=2", "-o", "-", "-"}, recording.WithHeader());
    EXPECT_EQ(DecodedPng(screen.output).pixels, (Colours{white, black}));
}

TEST_F(Png, ReplacesWholeFiles)
{
    const std::string path = folder + "/region-01.png";
    EXPECT_EQ(MakePictures(Recording().Data(1, 2, {0, 3})).status, 0);
    const std::string before = ReadWholeFile(path);
    std::ifstream follower(path, std::ios::binary);
    EXPECT_EQ(MakePictures(Recording().Data(1, 2, {3, 3})).status, 0);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(follower), {}), before);
    EXPECT_EQ(Files(), std::vector<std::string>{"region-01.png"});
    EXPECT_EQ(PixelsOf("region-01.png"), (Colours{white, white}));
}

TEST_F(Png, KeepsTheFileOnAFullDisk)
{
    const std::string path = folder + "/region-01.png";
    EXPECT_EQ(MakePictures(Recording().Data(1, 2, {0, 3})).status, 0);
    const std::string before = ReadWholeFile(path);
    ChildProcess::Options settings;
    settings.fileSizeLimit = 30;
    settings.ignoredSignal = SIGXFSZ;
    const Ended ended =
        Run({"png", "-o", folder, "-"}, Recording().Data(1, 2, {3, 3}).WithoutHeader(), settings);
    EXPECT_EQ(ended.status, 1);
    EXPECT_NE(ended.errors.find("SubtitleMgrView: " + path + ": File too large\n"),
              std::string::npos)
        << ended.errors;
    EXPECT_EQ(Files(), std::vector<std::string>{"region-01.png"});
    EXPECT_EQ(ReadWholeFile(path), before);
}

TEST_F(Png, SaysWhyThereIsNothing)
{
    WriteWholeFile(files / "file", "");
    const Recording hidden = Recording().Data(1, 2, {0, 3}).Data(2, 2, {});
    const struct {
        std::vector<std::string> words;
        std::string input;
        int status;
        std::string error;
    } rows[] = {
        {{"png", "-o", folder, "-"}, "", 1, "no region has a bitmap"},
        {{"png", "-o", folder, "--region=2", "-"},
         hidden.WithHeader(),
         1,
         "region 2 has no bitmap"},
        {{"png", "-o", "-", "-"}, hidden.WithHeader(), 1, "no region is visible"},
        {{"terminal", "-"}, "", 1, "no region has a bitmap"},
        {{"terminal", "--region=7", "-"}, hidden.WithHeader(), 1, "region 7 has no bitmap"},
        {{"png", "-o", files / "file", "-"},
         hidden.WithHeader(),
         1,
         (files / "file") + ": Not a directory"},
        {{"png", "-o", files / "no/such", "-"},
         hidden.WithHeader(),
         1,
         (files / "no/such") + ": No such file or directory"},
        {{"png", "-o", folder, files / "x"}, "", 2, (files / "x") + ": No such file or directory"},
        {{"terminal", files.Path()}, "", 2, files.Path() + ": cannot be read: Is a directory"},
        {{"terminal", "-"}, "{}\n", 2, "-:1:1: not one of a header, a notification and a request"},
        {{"terminal", "-"},
         "{\"monoUs\":1,\"wallUs\":1,\"notification\":\"Palette\",\"subscription\":10,"
         "\"regionId\":2,\"size\":2,\"crc32\":\"2619ef23\",\"fill\":true,\"backgroundCode\":1}\n",
         2,
         "-:1:1: it has no bytes"},
    };
    for (const auto& row : rows) {
        const Ended ended = Run(row.words, row.input);
        EXPECT_EQ(ended.status, row.status) << row.error;
        EXPECT_EQ(ended.output, "");
        EXPECT_TEXT(ended.errors, "SubtitleMgrView: " + row.error + "\n");
    }
}

TEST_F(Png, ShowsWhatCameBeforeAMistake)
{
    const Recording recording = Recording().Palette(1, palette).Data(1, 0, {1, 2});
    const Ended ended = Run({"png", "--width=2", "-o", folder, "-"}, recording.WithHeader() + "{");
    EXPECT_EQ(ended.status, 2);
    EXPECT_TEXT(ended.errors,
                "SubtitleMgrView: -:4:2: the line has no end; the recording is incomplete\n");
    EXPECT_EQ(PixelsOf("region-01.png"), (Colours{black, white}));
}

}  // namespace
