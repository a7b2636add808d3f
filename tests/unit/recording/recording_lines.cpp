// Writes recording lines of every kind with data of many sizes, for writer_test.py.

#include "packaging/tool_options.h"
#include "recording/writer.h"

#include <cstdio>
#include <vector>

using namespace recording;

namespace {

constexpr char usage[] = "Usage: recording_lines\n"
                         "Writes recording lines of every kind; writer_test.py checks them.\n";

/// The data follows from its size.
std::vector<unsigned char> DataOfSize(std::size_t size)
{
    std::vector<unsigned char> bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<unsigned char>(size * 31 + i * i * 7 + i * 13);
    }
    return bytes;
}

std::string LinesWithDataOfSize(std::size_t size, std::int64_t monoUs)
{
    const std::vector<unsigned char> bytes = DataOfSize(size);
    std::string text;
    Notification notification;
    notification.at = {monoUs, 1763730000123456 + monoUs};
    notification.regionId = static_cast<unsigned int>(size % 256);
    notification.subtitleFormat = static_cast<unsigned int>(size % 5);
    notification.backgroundCode = 255;
    notification.data = {bytes.data(), bytes.size()};
    for (int kind = 0; kind <= static_cast<int>(NotificationKind::Palette); ++kind) {
        notification.kind = static_cast<NotificationKind>(kind);
        notification.subscription = kind == 0   ? SubscriptionOfFormat(notification.subtitleFormat)
                                    : kind == 1 ? visibilitySubscription
                                                : paletteSubscription;
        AppendLine(text, notification);
    }
    Request request;
    request.at = notification.at;
    request.client = 4294967295;
    request.data = notification.data;
    for (int kind = 0; kind <= static_cast<int>(RequestKind::SetLogLevel); ++kind) {
        request.kind = static_cast<RequestKind>(kind);
        request.result = static_cast<Result>(kind % 3);
        AppendLine(text, request, size % 2 == 0 ? Bytes::Written : Bytes::LeftOut);
    }
    return text;
}

}  // namespace

int main(int argc, char** argv)
{
    if (AnswersHelpOrVersion(argc, argv, "recording_lines", usage)) {
        return 0;
    }
    std::string text;
    AppendLine(text, Header{{0, 1763730000123456}, "a \"writer\"\n\x01\xC3\xA4\xFF", "node1/Sub"});
    std::int64_t monoUs = 0;
    for (std::size_t size = 0; size < 20; ++size) {
        text += LinesWithDataOfSize(size, ++monoUs);
    }
    text += LinesWithDataOfSize(30720, 9007199254740991 - 1763730000123456);
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() ? 0 : 1;
}
