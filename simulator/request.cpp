#include "simulator/request.h"

#include "platform/src/big_endian.h"
#include "recording/crc32.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

using namespace platform;
using namespace sim;

namespace {

/// The fields of a request: as a JSON object of the journal or as a phrase for people.
class Account {
public:
    Account(bool forJournal, const char* request)
        : isJournal(forJournal),
          text(isJournal ? std::string(R"({"request":")") + request + '"' : request)
    {
    }

    /// A number; in the phrase it follows \p before.
    Account& Add(const char* name, const char* before, std::size_t value)
    {
        return Append(name, std::to_string(value), before + std::to_string(value));
    }
    Account& Add(const char* name, bool value, const char* whenTrue, const char* whenFalse)
    {
        return Append(name, value ? "true" : "false", value ? whenTrue : whenFalse);
    }
    Account& Add(const std::vector<unsigned char>& data)
    {
        Append("size", std::to_string(data.size()), ", " + std::to_string(data.size()) + " bytes");
        if (isJournal) {
            char crc[11];
            std::snprintf(crc, sizeof crc, "\"%08x\"",
                          unsigned{recording::Crc32(data.data(), data.size())});
            Append("crc32", crc, "");
        }
        return *this;
    }

    std::string Text() const { return isJournal ? text + '}' : text; }

private:
    /// Names and values are our own, so nothing has to be escaped.
    Account& Append(const char* name, const std::string& value, const std::string& phrase)
    {
        text += isJournal ? std::string(",\"") + name + "\":" + value : phrase;
        return *this;
    }

    const bool isJournal;
    std::string text;
};

constexpr unsigned int noReply = ~0u;

constexpr Outcome ResultOf(bool isAccepted)
{
    return {isAccepted ? Result::Accepted : Result::Refused};
}

/// One message that clients may send. Its number and the check of its payload are in
/// platform/src/wire_format.h: clients need them too. A null member means "nothing to do".
struct Message {
    const char* name;
    unsigned int id;
    unsigned int replySize;  ///< without header: none, the result, or it and the log level
    void (*decode)(unsigned char* from, Request& to) = nullptr;
    void (*tell)(const Request& request, Account& account) = nullptr;
    Outcome (*serve)(Request& request, SubtitleService& service, Subscriptions& held) = nullptr;
};

using Service = SubtitleService;
using Held = Subscriptions;

const Message allMessages[] = {
    {"Quit", messages::quit, noReply},
    {"Ping", messages::ping, 0},
    {"Subscribe", messages::subscribe, 4,
     [](unsigned char* from, Request& to) {
         to.subscription = GetU32(from);
         to.itemId = GetU32(from + 4);
     },
     [](const Request& r, Account& account) {
         account.Add("subscription", " ", r.subscription).Add("itemId", ", item ", r.itemId);
     },
     [](Request& r, Service&, Held& held) { return ResultOf(held.Add(r.subscription, r.itemId)); }},
    {"Unsubscribe", messages::unsubscribe, 4,
     [](unsigned char* from, Request& to) { to.subscription = GetU32(from); },
     [](const Request& r, Account& account) { account.Add("subscription", " ", r.subscription); },
     [](Request& r, Service&, Held& held) { return ResultOf(held.Remove(r.subscription)); }},
    {"SetRegionData", messages::setRegionData, 4,
     [](unsigned char* from, Request& to) { to.bitmap.Decode(from); },
     [](const Request& r, Account& account) {
         account.Add("regionId", " region ", r.bitmap.regionId)
             .Add("subtitleFormat", ", format ", r.bitmap.subtitleFormat)
             .Add(r.bitmap.data);
     },
     [](Request& r, Service& s, Held&) { return s.Keep(r.bitmap); }},
    {"SetRegionVisibility", messages::setRegionVisibility, 4,
     [](unsigned char* from, Request& to) { to.visibility.Decode(from); },
     [](const Request& r, Account& account) {
         account.Add("regionId", " region ", r.visibility.regionId)
             .Add("visible", r.visibility.visible, ", visible", ", hidden");
     },
     [](Request& r, Service& s, Held&) { return s.Keep(r.visibility); }},
    {"SetPaletteData", messages::setPaletteData, 4,
     [](unsigned char* from, Request& to) { to.palette.Decode(from); },
     [](const Request& r, Account& account) {
         account.Add("regionId", " region ", r.palette.regionId)
             .Add(r.palette.paletteData)
             .Add("fill", r.palette.fill, ", filled", ", unfilled")
             .Add("backgroundCode", ", background ", r.palette.backgroundCode);
     },
     [](Request& r, Service& s, Held&) { return s.Keep(r.palette); }},
    {"InvertRegionData", messages::invertRegionData, 4,
     [](unsigned char* from, Request& to) { to.regionId = GetU32(from); },
     [](const Request& r, Account& account) { account.Add("regionId", " region ", r.regionId); },
     [](Request& r, Service& s, Held&) { return s.Invert(r.regionId); }},
    {"RefreshRegions", messages::refreshRegions, 4, nullptr, nullptr,
     [](Request&, Service& s, Held&) { return s.Refresh(); }},
    {"SendSensorUpdate", messages::sendSensorUpdate, 4,
     [](unsigned char* from, Request& to) {
         to.sensor = GetU32(from);
         to.on = from[4] != 0;
     },
     [](const Request& r, Account& account) {
         account.Add("on", r.on, " on", " off").Add("sensor", ", sensor ", r.sensor);
     },
     [](Request& r, Service& s, Held&) { return ResultOf(s.UpdateSensor(r.sensor, r.on)); }},
    {"GetLogLevel", messages::getLogLevel, 8},
    {"SetLogLevel", messages::setLogLevel, 4,
     [](unsigned char* from, Request& to) { to.level = GetU32(from); },
     [](const Request& r, Account& account) { account.Add("level", " ", r.level); },
     [](Request& r, Service& s, Held&) {
         s.SetLogLevel(r.level);
         return Outcome();
     }},
};

std::string AccountOf(const Request& request, bool forJournal)
{
    const Message& message = allMessages[request.row];
    Account account(forJournal, message.name);
    if (message.tell) {
        message.tell(request, account);
    }
    return account.Text();
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
    request.row = static_cast<std::size_t>(message - allMessages);
    if (message->decode) {
        message->decode(payload, request);
    }
    return true;
}

unsigned int sim::ReplySize(const Request& request) { return allMessages[request.row].replySize; }

bool sim::HasResult(const Request& request)
{
    const unsigned int size = ReplySize(request);
    return size != noReply && size > 0;
}

const char* sim::NameOf(const Request& request) { return allMessages[request.row].name; }

std::string sim::Describe(const Request& request) { return AccountOf(request, false); }

std::string sim::JournalLine(const Request& request) { return AccountOf(request, true); }

Outcome sim::Serve(Request& request, SubtitleService& service, Subscriptions& held)
{
    const Message& message = allMessages[request.row];
    return message.serve ? message.serve(request, service, held) : Outcome();
}
