#include "recording/reader.h"

#include "recording/base64.h"
#include "recording/crc32.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace recording {

namespace {

bool GetNumber(const LineFields& fields, const char* name, unsigned int largest,
               unsigned int& number, LineMistake& mistake)
{
    std::uint64_t value = 0;
    if (!fields.Get(name, largest, value, mistake)) {
        return false;
    }
    number = static_cast<unsigned int>(value);
    return true;
}

bool GetText(const LineFields& fields, const char* name, std::string& text, LineMistake& mistake)
{
    char* characters = nullptr;
    std::size_t size = 0;
    if (!fields.Get(name, characters, size, mistake)) {
        return false;
    }
    text.assign(characters, size);
    return true;
}

const char* NameOf(const KindRow& row) { return row.name; }
const char* NameOf(const char* name) { return name; }

/// Finds the row of \p table that the field \p name names.
template <typename Kind, typename Row, std::size_t count>
bool GetKind(const LineFields& fields, const char* name, const Row (&table)[count], Kind& kind,
             LineMistake& mistake)
{
    std::string text;
    if (!GetText(fields, name, text, mistake)) {
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (text == NameOf(table[i])) {
            kind = static_cast<Kind>(i);
            return true;
        }
    }
    return fields.Refuse(name, "is an unknown word", mistake);
}

bool GetMoment(const LineFields& fields, Moment& at, LineMistake& mistake)
{
    std::uint64_t mono = 0;
    std::uint64_t wall = 0;
    if (!fields.Get("monoUs", largestTime, mono, mistake) ||
        !fields.Get("wallUs", largestTime, wall, mistake)) {
        return false;
    }
    at = {static_cast<std::int64_t>(mono), static_cast<std::int64_t>(wall)};
    return true;
}

bool ParseCrc32(const std::string& text, std::uint32_t& crc)
{
    crc = 0;
    for (const char c : text) {
        const bool isDigit = c >= '0' && c <= '9';
        if (!isDigit && (c < 'a' || c > 'f')) {
            return false;
        }
        crc = crc << 4 | static_cast<std::uint32_t>(isDigit ? c - '0' : c - 'a' + 10);
    }
    return text.size() == 8;
}

bool GetBytes(const LineFields& fields, Data& data, LineMistake& mistake)
{
    char* text = nullptr;
    std::size_t length = 0;
    std::size_t decoded = 0;
    if (!fields.Get("data", text, length, mistake)) {
        return false;
    }
    if (!DecodeBase64(text, length, decoded)) {
        return fields.Refuse("data", "is not base64", mistake);
    }
    data.bytes = reinterpret_cast<const unsigned char*>(text);
    return decoded == data.size ||
           fields.Refuse("data", "has " + std::to_string(decoded) + " bytes, not the size",
                         mistake);
}

bool GetData(const LineFields& fields, Data& data, LineMistake& mistake)
{
    std::uint64_t size = 0;
    std::string crcText;
    std::uint32_t crc = 0;
    if (!fields.Get("size", largestData, size, mistake) ||
        !GetText(fields, "crc32", crcText, mistake)) {
        return false;
    }
    if (!ParseCrc32(crcText, crc)) {
        return fields.Refuse("crc32", "is not eight digits of 0 to 9 and a to f", mistake);
    }
    data = {nullptr, static_cast<std::size_t>(size), crc};
    if (fields.Has("data") && !GetBytes(fields, data, mistake)) {
        return false;
    }
    return !data.AreThere() || Crc32(data.bytes, data.size) == crc ||
           fields.Refuse("crc32", "is not that of the data", mistake);
}

bool GetContent(const LineFields& fields, unsigned int wanted, Content& content,
                LineMistake& mistake)
{
    for (const ContentField& field : contentFields) {
        if ((wanted & field.bit) == 0) {
            continue;
        }
        const bool isGood = field.number ? GetNumber(fields, field.name, field.largest,
                                                     content.*field.number, mistake)
                            : field.flag ? fields.Get(field.name, content.*field.flag, mistake)
                                         : GetData(fields, content.data, mistake);
        if (!isGood) {
            return false;
        }
    }
    return true;
}

bool GetHeader(const LineFields& fields, Header& header, LineMistake& mistake)
{
    // Checked first, because the other fields of a newer format are unknown.
    std::uint64_t format = 0;
    if (!fields.Get("subtitleRecording", largestTime, format, mistake)) {
        return false;
    }
    if (format != formatNumber) {
        const std::string what =
            format > formatNumber ? "newer than this program" : "not known to this program";
        return fields.Refuse(
            "subtitleRecording",
            std::to_string(format) + " is " + what + "; it reads " + std::to_string(formatNumber),
            mistake);
    }
    return GetText(fields, "writer", header.writer, mistake) &&
           GetText(fields, "service", header.service, mistake) &&
           GetMoment(fields, header.at, mistake);
}

unsigned int SubscriptionOf(const Notification& notification)
{
    switch (notification.kind) {
    case NotificationKind::RegionData: return SubscriptionOfFormat(notification.subtitleFormat);
    case NotificationKind::RegionVisibility: return visibilitySubscription;
    case NotificationKind::Palette: break;
    }
    return paletteSubscription;
}

bool GetNotification(const LineFields& fields, Notification& notification, LineMistake& mistake)
{
    if (!GetMoment(fields, notification.at, mistake) ||
        !GetKind(fields, "notification", notificationKinds, notification.kind, mistake)) {
        return false;
    }
    const KindRow& row = notificationKinds[static_cast<std::size_t>(notification.kind)];
    if (!GetContent(fields, row.fields, notification, mistake)) {
        return false;
    }
    const unsigned int right = SubscriptionOf(notification);
    if (notification.subscription != right) {
        return fields.Refuse("subscription",
                             "is not " + std::to_string(right) + ", that of this notification",
                             mistake);
    }
    if (!fields.Has("receivers")) {
        return true;
    }
    notification.receivers = 0;
    return GetNumber(fields, "receivers", largestNumber, *notification.receivers, mistake);
}

bool GetRequest(const LineFields& fields, Request& request, LineMistake& mistake)
{
    if (!GetMoment(fields, request.at, mistake) ||
        !GetKind(fields, "request", requestKinds, request.kind, mistake) ||
        !GetNumber(fields, "client", largestNumber, request.client, mistake)) {
        return false;
    }
    const KindRow& row = requestKinds[static_cast<std::size_t>(request.kind)];
    return GetContent(fields, row.fields, request, mistake) &&
           GetKind(fields, "result", resultNames, request.result, mistake);
}

}  // namespace

Reader::Reader(std::string nameOfInput, Start startToExpect)
    : name(std::move(nameOfInput)), start(startToExpect)
{
}

Reader::Found Reader::Next(AnyLine& line)
{
    if (!mistakeText.empty()) {
        return Found::Mistake;
    }
    char* text = nullptr;
    std::size_t length = 0;
    offset = input.EndOffset();
    const LineInput::Cut cut = input.Next(text, length);
    if (cut == LineInput::Cut::NeedsInput) {
        return ended ? EndOfInput() : Found::NeedsInput;
    }
    ++lineNumber;
    LineMistake mistake;
    if (cut == LineInput::Cut::TooLong) {
        return Fail({longestLine + 1, "the line is longer than any message"});
    }
    return ReadLine(text, length, line, mistake) ? Found::Line : Fail(mistake);
}

bool Reader::ReadLine(char* text, std::size_t length, AnyLine& line, LineMistake& mistake)
{
    if (!fields.Parse(text, length, mistake)) {
        return false;
    }
    const bool isHeader = fields.Has("subtitleRecording");
    const bool isNotification = fields.Has("notification");
    const bool isRequest = fields.Has("request");
    if (int{isHeader} + int{isNotification} + int{isRequest} != 1) {
        mistake = {1, "not one of a header, a notification and a request"};
        return false;
    }
    if (isHeader) {
        Header& header = line.emplace<Header>();
        return GetHeader(fields, header, mistake) && CheckOrder(line, header.at, mistake);
    }
    if (isNotification) {
        Notification& notification = line.emplace<Notification>();
        return GetNotification(fields, notification, mistake) &&
               CheckOrder(line, notification.at, mistake);
    }
    Request& request = line.emplace<Request>();
    return GetRequest(fields, request, mistake) && CheckOrder(line, request.at, mistake);
}

bool Reader::CheckOrder(const AnyLine& line, Moment& at, LineMistake& mistake)
{
    const bool isHeader = std::holds_alternative<Header>(line);
    if (start == Start::HeaderOptional) {
        shiftUs = std::max(shiftUs, lastMonoUs - at.monoUs);
        at.monoUs = std::min(at.monoUs + shiftUs, largestTime);
    } else if (isHeader && lineNumber > 1) {
        mistake = {1, "a second header"};
        return false;
    } else if (!isHeader && lineNumber == 1) {
        mistake = {1, "the first line is not the header of a recording; a journal has none"};
        return false;
    }
    if (at.monoUs < lastMonoUs) {
        return fields.Refuse("monoUs", "is earlier than in the line before", mistake);
    }
    lastMonoUs = at.monoUs;
    return true;
}

Reader::Found Reader::EndOfInput()
{
    if (input.Rest() > 0) {
        ++lineNumber;
        return Fail({input.Rest() + 1, "the line has no end; the recording is incomplete"});
    }
    if (lineNumber == 0 && start == Start::WithHeader) {
        lineNumber = 1;
        return Fail({1, "the recording is empty"});
    }
    return Found::End;
}

Reader::Found Reader::Fail(const LineMistake& mistake)
{
    mistakeText = name + ":" + std::to_string(lineNumber) + ":" + std::to_string(mistake.column) +
                  ": " + mistake.reason;
    return Found::Mistake;
}

}  // namespace recording
