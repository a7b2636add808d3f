#include "tap/text_lines.h"

#include <cstdio>
#include <ctime>

namespace tap {

namespace {

using recording::NotificationKind;

constexpr std::int64_t usPerSecond = 1000000;

/// UTC, as log entries have it: 2026-11-21T20:10:00.123456Z
void AppendTimeOfDay(std::string& text, std::int64_t wallUs)
{
    const auto seconds = static_cast<std::time_t>(wallUs / usPerSecond);
    std::tm day{};
    gmtime_r(&seconds, &day);
    char shown[64];
    const std::size_t size = std::strftime(shown, sizeof shown, "%Y-%m-%dT%H:%M:%S", &day);
    text.append(shown, size);
    std::snprintf(shown, sizeof shown, ".%06dZ", static_cast<int>(wallUs % usPerSecond));
    text += shown;
}

void AppendSeconds(std::string& text, std::int64_t us)
{
    char shown[64];
    std::snprintf(shown, sizeof shown, "%lld.%06d", static_cast<long long>(us / usPerSecond),
                  static_cast<int>(us % usPerSecond));
    text += shown;
}

/// How many bytes there are, and the first of them.
void AppendData(std::string& text, const recording::Data& data)
{
    constexpr std::size_t mostShown = 8;
    constexpr char digits[] = "0123456789abcdef";
    text += " size " + std::to_string(data.size);
    for (std::size_t i = 0; i < data.size && i < mostShown; ++i) {
        text += i == 0 ? ": " : "";
        text += digits[data.bytes[i] >> 4];
        text += digits[data.bytes[i] & 15];
    }
    text += data.size > mostShown ? "..." : "";
}

}  // namespace

void TimeStamps::Append(std::string& text, const recording::Moment& at)
{
    if (form == TimeForm::Absolute) {
        AppendTimeOfDay(text, at.wallUs);
    } else {
        AppendSeconds(text, at.monoUs - referenceUs.value_or(at.monoUs));
        if (!referenceUs || form == TimeForm::Delta) {
            referenceUs = at.monoUs;
        }
    }
    text += ' ';
}

void AppendText(std::string& text, const recording::Notification& notification)
{
    text += kindWords[static_cast<std::size_t>(notification.kind)];
    text += " region " + std::to_string(notification.regionId);
    switch (notification.kind) {
    case NotificationKind::RegionData: {
        const std::size_t format = FormatIndex(notification.subtitleFormat);
        text += ' ';
        text += format == otherFormats ? "format " + std::to_string(notification.subtitleFormat)
                                       : std::string(formatWords[format]);
        AppendData(text, notification.data);
        break;
    }
    case NotificationKind::RegionVisibility:
        text += notification.visible ? " visible" : " hidden";
        break;
    case NotificationKind::Palette:
        text += notification.fill ? " fill" : " nofill";
        text += " background " + std::to_string(notification.backgroundCode);
        AppendData(text, notification.data);
        break;
    }
    text += '\n';
}

}  // namespace tap
