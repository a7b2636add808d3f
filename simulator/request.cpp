#include "simulator/request.h"

#include "simulator/crc32.h"
#include "simulator/subtitle_service.h"

#include "platform/src/big_endian.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <new>

namespace sim {

using namespace platform;

namespace {

/// What a request says, field by field: as a JSON object of the journal or as a phrase for people.
class Account {
public:
    enum class Form { Journal, Phrase };

    Account(Form formToGive, const char* request)
        : isJournal(formToGive == Form::Journal),
          text(isJournal ? std::string(R"({"request":")") + request + '"' : request)
    {
    }

    /// A number; the phrase \p before stands before it.
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
            std::snprintf(crc, sizeof crc, "\"%08x\"", unsigned{Crc32(data.data(), data.size())});
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

    bool isJournal;
    std::string text;
};

constexpr unsigned int noReply = ~0u;

/// One message that clients may send. Its number and the check of its payload stand in
/// platform/src/wire_format.h: clients need them too. What is null has nothing to do.
struct Message {
    const char* name;
    unsigned int id;
    unsigned int replySize;
    void (*decode)(unsigned char* from, Request& to) = nullptr;
    void (*tell)(const Request& request, Account& account) = nullptr;
    Outcome (*serve)(Request& request, SubtitleService& service, Subscriptions& held) = nullptr;
};

using Bytes = unsigned char;
using Service = SubtitleService;
using Held = Subscriptions;

const Message allMessages[] = {
    {"Quit", messages::quit, noReply},
    {"Ping", messages::ping, 0},
    {"Subscribe", messages::subscribe, 4,
     [](Bytes* from, Request& to) {
         to.subscription = GetU32(from);
         to.itemId = GetU32(from + 4);
     },
     [](const Request& r, Account& account) {
         account.Add("subscription", " ", r.subscription).Add("itemId", ", item ", r.itemId);
     },
     [](Request& r, Service& s, Held& held) {
         return s.Subscribe(r.subscription, r.itemId, held);
     }},
    {"Unsubscribe", messages::unsubscribe, 4,
     [](Bytes* from, Request& to) { to.subscription = GetU32(from); },
     [](const Request& r, Account& account) { account.Add("subscription", " ", r.subscription); },
     [](Request& r, Service& s, Held& held) { return s.Unsubscribe(r.subscription, held); }},
    {"SetRegionData", messages::setRegionData, 4,
     [](Bytes* from, Request& to) { to.bitmap.Decode(from); },
     [](const Request& r, Account& account) {
         account.Add("regionId", " region ", r.bitmap.regionId)
             .Add("subtitleFormat", ", format ", r.bitmap.subtitleFormat)
             .Add(r.bitmap.data);
     },
     [](Request& r, Service& s, Held&) { return s.Keep(r.bitmap); }},
    {"SetRegionVisibility", messages::setRegionVisibility, 4,
     [](Bytes* from, Request& to) { to.visibility.Decode(from); },
     [](const Request& r, Account& account) {
         account.Add("regionId", " region ", r.visibility.regionId)
             .Add("visible", r.visibility.visible, ", visible", ", hidden");
     },
     [](Request& r, Service& s, Held&) { return s.Keep(r.visibility); }},
    {"SetPaletteData", messages::setPaletteData, 4,
     [](Bytes* from, Request& to) { to.palette.Decode(from); },
     [](const Request& r, Account& account) {
         account.Add("regionId", " region ", r.palette.regionId)
             .Add(r.palette.paletteData)
             .Add("fill", r.palette.fill, ", filled", ", unfilled")
             .Add("backgroundCode", ", background ", r.palette.backgroundCode);
     },
     [](Request& r, Service& s, Held&) { return s.Keep(r.palette); }},
    {"InvertRegionData", messages::invertRegionData, 4,
     [](Bytes* from, Request& to) { to.regionId = GetU32(from); },
     [](const Request& r, Account& account) { account.Add("regionId", " region ", r.regionId); },
     [](Request& r, Service& s, Held&) { return s.Invert(r.regionId); }},
    {"RefreshRegions", messages::refreshRegions, 4, nullptr, nullptr,
     [](Request&, Service& s, Held&) { return s.Refresh(); }},
    {"SendSensorUpdate", messages::sendSensorUpdate, 4,
     [](Bytes* from, Request& to) {
         to.sensor = GetU32(from);
         to.on = from[4] != 0;
     },
     [](const Request& r, Account& account) {
         account.Add("on", r.on, " on", " off").Add("sensor", ", sensor ", r.sensor);
     },
     [](Request& r, Service& s, Held&) { return s.UpdateSensor(r.sensor, r.on); }},
    {"GetLogLevel", messages::getLogLevel, 8},
    {"SetLogLevel", messages::setLogLevel, 4,
     [](Bytes* from, Request& to) { to.level = GetU32(from); },
     [](const Request& r, Account& account) { account.Add("level", " ", r.level); },
     [](Request& r, Service& s, Held&) { return s.SetLogLevel(r.level); }},
};

const Message* Find(unsigned int messageId)
{
    const auto* const found =
        std::find_if(std::begin(allMessages), std::end(allMessages),
                     [messageId](const Message& message) { return message.id == messageId; });
    return found == std::end(allMessages) ? nullptr : found;
}

std::string AccountOf(const Request& request, Account::Form form)
{
    const Message& message = *Find(request.messageId);
    Account account(form, message.name);
    if (message.tell) {
        message.tell(request, account);
    }
    return account.Text();
}

}  // namespace

bool IsKnownRequest(FrameKind kind, unsigned int messageId)
{
    const Message* const message = Find(messageId);
    return message &&
           kind == (message->replySize == noReply ? FrameKind::OneWay : FrameKind::Request);
}

unsigned int ReplySize(unsigned int messageId) { return Find(messageId)->replySize; }

void DecodeRequest(unsigned int messageId, unsigned char* payload, Request& request)
{
    request.messageId = messageId;
    if (const auto decode = Find(messageId)->decode) {
        decode(payload, request);
    }
}

std::string Describe(const Request& request) { return AccountOf(request, Account::Form::Phrase); }

std::string JournalLine(const Request& request)
{
    return AccountOf(request, Account::Form::Journal);
}

Outcome Serve(Request& request, SubtitleService& service, Subscriptions& held)
{
    const auto serve = Find(request.messageId)->serve;
    return serve ? serve(request, service, held) : Outcome();
}

}  // namespace sim
