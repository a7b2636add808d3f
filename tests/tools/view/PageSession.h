#pragma once

#include "tests/tools/view/HttpPeer.h"
#include "tests/tools/view/ViewSession.h"

#include <memory>

/// SubtitleMgrView with the command page.
class PageSession : public ViewSession {
protected:
    /// Starts a page and waits for its address.
    void Start(const std::vector<std::string>& words, const ChildProcess::Options& settings = {})
    {
        std::vector<std::string> arguments{VIEW_PROGRAM, "page"};
        arguments.insert(arguments.end(), words.begin(), words.end());
        page = std::make_unique<ChildProcess>(arguments, settings);
        page->WaitForOutput("/\n");
        const std::string start = "http://127.0.0.1:";
        const std::string address = page->Output();
        ASSERT_EQ(address.substr(0, start.size()), start);
        port = static_cast<unsigned int>(std::stoul(address.substr(start.size())));
        EXPECT_EQ(address, start + std::to_string(port) + "/\n");
    }

    /// Starts a page of a recording.
    void Show(const std::string& recording)
    {
        WriteWholeFile(files / "drive.jsonl", recording);
        Start({files / "drive.jsonl"});
    }

    HttpAnswer Get(const std::string& path) const { return ::Get(port, path); }

    /// Ends the page. \return its status
    int End(int signal = SIGINT) const
    {
        page->Signal(signal);
        return page->WaitForExit();
    }

    std::unique_ptr<ChildProcess> page;
    unsigned int port = 0;
};
