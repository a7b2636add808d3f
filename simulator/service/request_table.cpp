#include "simulator/service/request_table.h"

#include "platform/src/big_endian.h"
#include "recording/fields.h"

#include <algorithm>
#include <iterator>

using namespace platform;
using namespace sim;

namespace {

/// For people, by the index of a field in recording::contentFields.
constexpr struct {
    const char* beforeNumber;  ///< or what a true flag is called
    const char* whenFalse = "";
} phrases[] = {
    {" "},                       // subscription
    {", item "},                 // itemId
    {" region "},                // regionId
    {" region "},                // regionId
    {", format "},               // subtitleFormat
    {", "},                      // data
    {", visible", ", hidden"},   // visible
    {", filled", ", unfilled"},  // fill
    {" on", " off"},             // on
    {", background "},           // backgroundCode
    {", sensor "},               // sensor
    {" "},                       // level
};
static_assert(std::size(phrases) == std::size(recording::contentFields));

constexpr unsigned int noReply = ~0u;

constexpr Outcome ResultOf(bool isAccepted)
{
    return {isAccepted ? Result::Accepted : Result::Refused};
}

/// One message that clients may send. Its number and the check of its payload are in
/// platform/src/wire_format.h: clients need them too. A null member means "nothing to do".
struct Message {
    unsigned int id;
    unsigned int replySize;  ///< without header: none, the result, or it and the log level
    void (*decode)(unsigned char* from, Request& to) = nullptr;
    Outcome (*serve)(Request& request, SubtitleService& service, Subscriptions& held) = nullptr;
};

using Service = SubtitleService;
using Held = Subscriptions;

/// By RequestKind.
const Message allMessages[] = {
    {messages::ping, 0},
    {messages::quit, noReply},
    {messages::subscribe, 4,
     [](unsigned char* from, Request& to) {
         to.contents.subscription = GetU32(from);
         to.contents.itemId = GetU32(from + 4);
     },
     [](Request& r, Service&, Held& held) {
         return ResultOf(held.Add(r.contents.subscription, r.contents.itemId));
     }},
    {messages::unsubscribe, 4,
     [](unsigned char* from, Request& to) { to.contents.subscription = GetU32(from); },
     [](Request& r, Service&, Held& held) {
         return ResultOf(held.Remove(r.contents.subscription));
     }},
    {messages::setRegionData, 4,
     [](unsigned char* from, Request& to) {
         to.bitmap.Decode(from);
         to.contents.regionId = to.bitmap.regionId;
         to.contents.subtitleFormat = to.bitmap.subtitleFormat;
         to.contents.data = {to.bitmap.data.data(), to.bitmap.data.size()};
     },
     [](Request& r, Service& s, Held&) { return s.Keep(r.bitmap); }},
    {messages::setRegionVisibility, 4,
     [](unsigned char* from, Request& to) {
         to.visibility.Decode(from);
         to.contents.regionId = to.visibility.regionId;
         to.contents.visible = to.visibility.visible;
     },
     [](Request& r, Service& s, Held&) { return s.Keep(r.visibility); }},
    {messages::setPaletteData, 4,
     [](unsigned char* from, Request& to) {
         to.palette.Decode(from);
         to.contents.regionId = to.palette.regionId;
         to.contents.backgroundCode = to.palette.backgroundCode;
         to.contents.fill = to.palette.fill;
         to.contents.data = {to.palette.paletteData.data(), to.palette.paletteData.size()};
     },
     [](Request& r, Service& s, Held&) { return s.Keep(r.palette); }},
    {messages::invertRegionData, 4,
     [](unsigned char* from, Request& to) { to.contents.regionId = GetU32(from); },
     [](Request& r, Service& s, Held&) { return s.Invert(r.contents.regionId); }},
    {messages::refreshRegions, 4, nullptr, [](Request&, Service& s, Held&) { return s.Refresh(); }},
    {messages::sendSensorUpdate, 4,
     [](unsigned char* from, Request& to) {
         to.contents.sensor = GetU32(from);
         to.contents.on = from[4] != 0;
     },
     [](Request& r, Service& s, Held&) {
         return ResultOf(s.UpdateSensor(r.contents.sensor, r.contents.on));
     }},
    {messages::getLogLevel, 8},
    {messages::setLogLevel, 4,
     [](unsigned char* from, Request& to) { to.contents.level = GetU32(from); },
     [](Request& r, Service& s, Held&) {
         s.SetLogLevel(r.contents.level);
         return Outcome();
     }},
};
static_assert(std::size(allMessages) == std::size(recording::requestKinds));

const recording::KindRow& RowOf(const recording::Request& request)
{
    return recording::requestKinds[static_cast<std::size_t>(request.kind)];
}

const Message& MessageOf(const Request& request)
{
    return allMessages[static_cast<std::size_t>(request.contents.kind)];
}

}  // namespace

bool sim::DecodeRequest(const FrameHeader& header, unsigned char* payload, Request& request)
{
    const auto* const message =
        std::find_if(std::begin(allMessages), std::end(allMessages),
                     [&](const Message& known) { return known.id == header.messageId; });
    if (message == std::end(allMessages) ||
        header.kind != (message->replySize == noReply ? FrameKind::OneWay : FrameKind::Request) ||
        !IsWellFormed(header.messageId, payload, header.length)) {
        return false;
    }
    request.contents = recording::Request();
    request.contents.kind = static_cast<recording::RequestKind>(message - allMessages);
    if (message->decode) {
        message->decode(payload, request);
    }
    return true;
}

unsigned int sim::ReplySize(const Request& request) { return MessageOf(request).replySize; }

bool sim::HasResult(const Request& request)
{
    const unsigned int size = ReplySize(request);
    return size != noReply && size > 0;
}

const char* sim::NameOf(const Request& request) { return RowOf(request.contents).name; }

std::string sim::Describe(const recording::Request& request)
{
    std::string text = RowOf(request).name;
    for (std::size_t i = 0; i < std::size(phrases); ++i) {
        const recording::ContentField& field = recording::contentFields[i];
        if ((RowOf(request).fields & field.bit) == 0) {
            continue;
        }
        const bool isFalse = field.flag && !(request.*field.flag);
        text += isFalse ? phrases[i].whenFalse : phrases[i].beforeNumber;
        text += field.number ? std::to_string(request.*field.number)
                : field.flag ? ""
                             : std::to_string(request.data.size) + " bytes";
    }
    return text;
}

Outcome sim::Serve(Request& request, SubtitleService& service, Subscriptions& held)
{
    const Message& message = MessageOf(request);
    return message.serve ? message.serve(request, service, held) : Outcome();
}
