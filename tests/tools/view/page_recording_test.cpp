#include "tests/tools/view/PageSession.h"

#include "tests/harness/text_compare.h"

namespace {

using PageOfRecording = PageSession;

std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at) + 1;
        lines.push_back(text.substr(at, end - at));
        at = end;
    }
    return lines;
}

TEST_F(PageOfRecording, HasTheStateAfterEachMessage)
{
    Recording recording;
    recording.Data(3, 0, {1}).Palette(3, {2}).Data(4, 0, {3}).Visibility(3, true);
    recording.Data(3, 2, {4}).Visibility(3, false).Palette(4, {5}).Data(3, 0, {6});
    Show(recording.WithHeader());
    const std::vector<std::string> lines = LinesOf(recording.WithoutHeader());
    const std::vector<std::size_t> states[] = {
        {},           {0},          {0, 1},          {0, 1, 2},      {0, 1, 2, 3},
        {1, 2, 3, 4}, {1, 2, 4, 5}, {1, 2, 4, 5, 6}, {1, 2, 5, 6, 7}};
    for (std::size_t before = 0; before <= lines.size(); ++before) {
        std::string expected;
        for (const std::size_t number : states[before]) {
            expected += lines[number];
        }
        EXPECT_TEXT(Get("/state?before=" + std::to_string(before)).body, expected);
    }
}

TEST_F(PageOfRecording, HasFewLargeMessagesInAnAnswer)
{
    Recording recording;
    for (const std::size_t size : {6'000'000u, 1'000'000u, 1'000'000u, 2'000'000u}) {
        recording.Data(3, 0, Bytes(size, 7));
    }
    Show(recording.WithHeader());
    const std::vector<std::string> lines = LinesOf(recording.WithoutHeader());
    EXPECT_TRUE(Get("/messages?from=0&count=4").body == lines[0]);
    EXPECT_TRUE(Get("/messages?from=1&count=3").body == lines[1] + lines[2]);
}

TEST_F(PageOfRecording, RefusesWrongNumbers)
{
    Show(Recording().Data(3, 2, {1, 0}).WithHeader());
    for (const std::string path :
         {"/state", "/state?before", "/state?before=2", "/state?before=-1", "/state?before=1x",
          "/state?before=99999999999999999999", "/messages?from=0", "/messages?count=1",
          "/messages?from=2&count=1", "/messages?from=0&count=257"}) {
        EXPECT_EQ(Get(path).status, 400u) << path;
    }
}

TEST_F(PageOfRecording, LeavesRequestsOut)
{
    std::string text = Recording().WithHeader();
    recording::Request request;
    request.at.monoUs = 4000;
    AppendLine(text, request);
    const std::string lines = Recording().Data(3, 2, {1, 0}).Visibility(3, true).WithoutHeader();
    const std::size_t middle = lines.find('\n') + 1;
    request.at.monoUs = 5500;
    text += lines.substr(0, middle);
    AppendLine(text, request);
    Show(text + lines.substr(middle));
    // Moments count from the first message, as with --at, and a request is one.
    EXPECT_TEXT(Get("/times").body, "[1000,2000]");
    EXPECT_TEXT(Get("/messages?from=0&count=2").body, lines);
    EXPECT_TEXT(Get("/state?before=2").body, lines);
}

TEST_F(PageOfRecording, ShowsWhatStandsBeforeAMistake)
{
    Show(Recording().Data(3, 2, {1, 0}).WithHeader() + "{\"monoUs\":1\n");
    EXPECT_NE(Get("/state?before=1").body.find("\"regionId\":3"), std::string::npos);
    EXPECT_EQ(End(), 0);
    const std::string mistake = "SubtitleMgrView: " + (files / "drive.jsonl") + ":3:";
    EXPECT_EQ(page->Errors().substr(0, mistake.size()), mistake);
}

TEST_F(PageOfRecording, IsRefusedIfItCannotBeUsed)
{
    EXPECT_TEXT(Run({"page", "/dev/stdin"}).errors,
                "SubtitleMgrView: /dev/stdin: is no file; use - for standard input\n");
    WriteWholeFile(files / "text", "text\n");
    for (const std::string& name : {files / "missing", files / "text", files.Path()}) {
        const Ended ended = Run({"page", name});
        EXPECT_EQ(ended.status, 2);
        EXPECT_EQ(ended.output, "");
        EXPECT_EQ(ended.errors.substr(0, 17 + name.size() + 1), "SubtitleMgrView: " + name + ":");
    }
}

TEST_F(PageOfRecording, LosesAConnectionWhenTheFileWasCut)
{
    Show(Recording().Data(3, 2, Bytes(5000, 1)).WithHeader());
    WriteWholeFile(files / "drive.jsonl", "");
    HttpPeer peer(port);
    peer.Send(RequestFor("/state?before=1") + "\r\n");
    EXPECT_EQ(ParseAnswer(peer.ReadToTheEnd()).body, "");
    EXPECT_EQ(Get("/about").status, 200u);
}

}  // namespace
