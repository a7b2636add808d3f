#include "tests/harness/console_texts.h"

#include "tests/harness/TempDir.h"

namespace {

/// A text of the console sessions, with \p words for {1}, {2} and so on.
std::string PublishedText(const std::string& name, const std::vector<std::string>& words = {})
{
    std::string text = ReadWholeFile(CONSOLE_TEXTS "/" + name + ".txt");
    for (std::size_t i = 0; i < words.size(); ++i) {
        text.replace(text.find("{" + std::to_string(i + 1) + "}"), 3, words[i]);
    }
    return text;
}

}  // namespace

std::string UsageText() { return PublishedText("usage"); }
std::string SubscribedMenu() { return PublishedText("menu", {"subscribed"}); }
std::string UnsubscribedMenu() { return PublishedText("menu", {"unsubscribed"}); }
std::string SensorTestMenu() { return PublishedText("sensor-menu"); }
std::string AcceptedSubscriptions() { return PublishedText("subscribing"); }

std::string DynamicTestMenu(const std::vector<std::string>& settings)
{
    return PublishedText("dynamic-menu", settings);
}

std::string RegionReport(const std::map<unsigned, std::string>& rows, const std::string& otherShare)
{
    const std::string noTraffic =
        "   F        0 +      0 +      0 =      0          0 +        0 +        0 =        0    ";
    std::string report = PublishedText("report-head");
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
