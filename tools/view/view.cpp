#include "view/view.h"

#include "words/exit_status.h"

#include <iostream>

namespace view {

namespace {

int RunCommand(const Options& options)
{
    switch (options.command) {
    case Command::Png: return MakePictures(options);
    case Command::FromPng: return BringBack(options);
    case Command::Pcapng: return WriteCapture(options);
    case Command::Terminal: return DrawRegions(options);
    case Command::Page: break;
    }
    return ShowPage(options);
}

}  // namespace

void Say(const std::string& text) { std::cerr << "SubtitleMgrView: " << text << std::endl; }

int Fail(int status, const std::string& problem)
{
    Say(problem);
    return status;
}

std::string NothingToShow(const Options& options)
{
    return options.region          ? "region " + std::to_string(*options.region) + " has no bitmap"
           : options.output == "-" ? "no region is visible"
                                   : "no region has a bitmap";
}

int Run(const Options& options)
{
    const int status = RunCommand(options);
    std::cout.flush();
    return status == words::exitDone && !std::cout.good() ? Fail(words::exitFailed, noOutput)
                                                          : status;
}

}  // namespace view
