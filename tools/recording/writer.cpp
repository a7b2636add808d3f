#include "recording/writer.h"

#include "recording/base64.h"
#include "recording/crc32.h"
#include "recording/fields.h"
#include "recording/json_text.h"

#include <ctime>

namespace recording {

namespace {

void AppendName(std::string& text, const char* name)
{
    text += ",\"";
    text += name;
    text += "\":";
}

void AppendWord(std::string& text, const char* name, const char* word)
{
    AppendName(text, name);
    text += '"';
    text += word;
    text += '"';
}

template <typename Number>
void AppendField(std::string& text, const char* name, Number number)
{
    AppendName(text, name);
    AppendNumber(text, number);
}

void AppendData(std::string& text, const Data& data, Bytes bytes)
{
    AppendField(text, "size", data.size);
    text += ",\"crc32\":\"";
    text += HexOf(Crc32(data));
    text += '"';
    if (bytes == Bytes::Written) {
        text += ",\"data\":\"";
        const std::size_t start = text.size();
        text.resize(start + Base64Size(data.size));
        EncodeBase64(data.bytes, data.size, &text[start]);
        text += '"';
    }
}

void AppendContent(std::string& text, const Content& content, unsigned int fields, Bytes bytes)
{
    for (const ContentField& field : contentFields) {
        if ((fields & field.bit) == 0) {
            continue;
        }
        if (field.number) {
            AppendField(text, field.name, content.*field.number);
        } else if (field.flag) {
            AppendName(text, field.name);
            text += content.*field.flag ? "true" : "false";
        } else {
            AppendData(text, content.data, bytes);
        }
    }
}

void BeginLine(std::string& text, const Moment& at)
{
    text += "{\"monoUs\":";
    AppendNumber(text, at.monoUs);
    AppendField(text, "wallUs", at.wallUs);
}

std::int64_t Microseconds(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return std::int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
}

}  // namespace

void AppendLine(std::string& text, const Header& header)
{
    text += "{\"subtitleRecording\":";
    AppendNumber(text, formatNumber);
    AppendName(text, "writer");
    AppendQuoted(text, header.writer);
    AppendName(text, "service");
    AppendQuoted(text, header.service);
    AppendField(text, "wallUs", header.at.wallUs);
    AppendField(text, "monoUs", header.at.monoUs);
    text += "}\n";
}

void AppendLine(std::string& text, const Notification& notification, Bytes bytes)
{
    const KindRow& kind = notificationKinds[static_cast<std::size_t>(notification.kind)];
    BeginLine(text, notification.at);
    AppendWord(text, "notification", kind.name);
    AppendContent(text, notification, kind.fields, bytes);
    if (notification.receivers) {
        AppendField(text, "receivers", *notification.receivers);
    }
    text += "}\n";
}

void AppendLine(std::string& text, const Request& request, Bytes bytes)
{
    const KindRow& kind = requestKinds[static_cast<std::size_t>(request.kind)];
    BeginLine(text, request.at);
    AppendWord(text, "request", kind.name);
    AppendField(text, "client", request.client);
    AppendContent(text, request, kind.fields, bytes);
    AppendWord(text, "result", resultNames[static_cast<std::size_t>(request.result)]);
    text += "}\n";
}

Moment Now() { return {Microseconds(CLOCK_MONOTONIC), Microseconds(CLOCK_REALTIME)}; }

}  // namespace recording
