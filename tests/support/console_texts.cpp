#include "tests/support/console_texts.h"

std::string UsageText()
{
    return "Usage: SubtitleMgrCli\n"
           "       [-h] or [--help] or [--usage] Shows help\n"
           "       [-p] or [--ping] Pings the SubtitleMgr process\n"
           "       [-q] or [--quit] Tells the SubtitleMgr to exit\n"
           "       [-l] or [--loglevel] Changes the log level through a menu\n"
           "       [-s] or [--setloglevel] Changes the log level\n"
           "       [-c] or [--config] Create tsApp config file\n"
           "       [-i] or [--interactive] Interactively control subtitle regions\n"
           "\n";
}

namespace {

constexpr const char* menuBehindItsState = "2) Unsubscribe for subtitles\n"
                                           "3) Modify Region Data\n"
                                           "4) Modify Region Visibility\n"
                                           "5) Modify Palette Data\n"
                                           "6) Invert Region Data\n"
                                           "7) Run dynamic test\n"
                                           "8) Send sensor changes\n"
                                           "r) Refresh all subtitles\n"
                                           "s) View statistics\n"
                                           "x) Exit\n"
                                           "\n";

}  // namespace

std::string SubscribedMenu()
{
    return std::string("\n"
                       "Choose an option:\n"
                       "1) Subscribe for subtitles                 (currently subscribed)\n") +
           menuBehindItsState;
}

std::string UnsubscribedMenu()
{
    return std::string("\n"
                       "Choose an option:\n"
                       "1) Subscribe for subtitles                 (currently unsubscribed)\n") +
           menuBehindItsState;
}

std::string AcceptedSubscriptions()
{
    return "Subscribing...\n"
           "Subscribing for RegionData\n"
           "\n"
           "\n"
           "\n"
           "Subscribing for RegionVisibility\n"
           "Subscribing for PaletteUpdate\n";
}

std::string RegionReport(const std::map<unsigned, std::string>& rows, const std::string& otherShare)
{
    const std::string noTraffic =
        "   F        0 +      0 +      0 =      0          0 +        0 +        0 =        0    ";
    std::string report =
        "\n\n"
        "                         Msgs                                     Bytes    \n"
        "           -----------------------------------   ---------------------------------------\n"
        "  Id (vis)     HD +     SD +    CIF =                HD +       SD +      CIF = \n"
        "\n";
    for (unsigned region = 1; region <= 14; ++region) {
        const auto row = rows.find(region);
        if (row != rows.end()) {
            report += row->second + "\n";
        } else {
            report += (region < 10 ? "   " : "  ") + std::to_string(region) + noTraffic +
                      otherShare + " %\n";
        }
    }
    return report + "\n\n";
}
