#pragma once

#include "recording/writer.h"
#include "tests/harness/ChildProcess.h"
#include "tests/harness/DecodedPng.h"
#include "tests/harness/TempDir.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Bytes = std::vector<unsigned char>;

/// A recording that a test makes, a millisecond from message to message.
class Recording {
public:
    Recording& Data(unsigned int region, unsigned int format, const Bytes& bytes)
    {
        recording::Notification line = LineOf(recording::NotificationKind::RegionData, region);
        line.subtitleFormat = format;
        line.subscription = recording::SubscriptionOfFormat(format);
        line.data = {bytes.data(), bytes.size()};
        return Append(line);
    }
    Recording& Palette(unsigned int region, const Bytes& bytes)
    {
        recording::Notification line = LineOf(recording::NotificationKind::Palette, region);
        line.subscription = recording::paletteSubscription;
        line.data = {bytes.data(), bytes.size()};
        return Append(line);
    }
    Recording& Visibility(unsigned int region, bool visible)
    {
        recording::Notification line =
            LineOf(recording::NotificationKind::RegionVisibility, region);
        line.subscription = recording::visibilitySubscription;
        line.visible = visible;
        return Append(line);
    }

    std::string WithHeader() const
    {
        std::string text;
        AppendLine(text, recording::Header{{1000, 0}, "test", "SubtitleMgr"});
        return text + lines;
    }
    const std::string& WithoutHeader() const { return lines; }

private:
    recording::Notification LineOf(recording::NotificationKind kind, unsigned int region)
    {
        recording::Notification line;
        line.kind = kind;
        line.regionId = region;
        line.at.monoUs = atUs;
        atUs += 1000;
        return line;
    }
    Recording& Append(const recording::Notification& line)
    {
        AppendLine(lines, line);
        return *this;
    }

    std::int64_t atUs = 5000;
    std::string lines;
};

/// SubtitleMgrView with a folder of files.
class ViewSession : public testing::Test {
protected:
    struct Ended {
        int status;
        std::string output;
        std::string errors;
    };

    /// \param input  of the program's standard input
    static Ended Run(const std::vector<std::string>& words, const std::string& input = "",
                     const ChildProcess::Options& settings = {})
    {
        std::vector<std::string> arguments{VIEW_PROGRAM};
        arguments.insert(arguments.end(), words.begin(), words.end());
        ChildProcess program(arguments, settings);
        program.Write(input);
        program.CloseInput();
        const int status = program.WaitForExit();
        return {status, program.Output(), program.Errors()};
    }

    /// Runs the command png on a recording with rows of two pixels.
    Ended MakePictures(const Recording& recording, std::vector<std::string> options = {}) const
    {
        WriteWholeFile(files / "drive.jsonl", recording.WithHeader());
        const std::vector<std::string> more{"--width", "2", "-o", folder, files / "drive.jsonl"};
        options.insert(options.begin(), "png");
        options.insert(options.end(), more.begin(), more.end());
        return Run(options);
    }

    std::vector<view::Colour> PixelsOf(const std::string& name) const
    {
        return DecodedPng(ReadWholeFile(folder + "/" + name)).pixels;
    }

    TempDir files;
    const std::string folder = files / "pictures";
};
