#include "tests/harness/console_texts.h"

#include "tests/harness/TempDir.h"

namespace {

std::string SharedText(const std::string& name)
{
    return ReadWholeFile(CONSOLE_TEXTS "/" + name + ".txt");
}

std::string Menu(const std::string& state)
{
    std::string text = SharedText("menu");
    return text.replace(text.find("{1}"), 3, state);
}

}  // namespace

std::string UsageText() { return SharedText("usage"); }
std::string SubscribedMenu() { return Menu("subscribed"); }
std::string UnsubscribedMenu() { return Menu("unsubscribed"); }

std::string RegionReport(const std::map<unsigned, std::string>& rows, const std::string& otherShare)
{
    const std::string noTraffic =
        "   F        0 +      0 +      0 =      0          0 +        0 +        0 =        0    ";
    std::string report = SharedText("report-head");
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
