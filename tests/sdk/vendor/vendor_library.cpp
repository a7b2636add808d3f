// The library that a vendor ships with its headers. It records each call, and the session's script
// determines the result.

#include "tests/sdk/vendor/LockStep.h"

#include <CommonCli.h>
#include <LinxIpc.h>
#include <LinxServerNameList.h>
#include <LogClient.h>
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>
#include <StringUtilities.h>
#include <SubtitleClient.h>
#include <SysLogMsg.h>

#include <cstdlib>
#include <sstream>
#include <typeinfo>
#include <unistd.h>
#include <vector>

namespace {

constexpr unsigned idlePause = 500000;

/// The client's calls before its session began.
struct Made {
    std::string endpoint;
    int timeoutMs = 0;
};

Made& MadeSoFar()
{
    static Made& made = *new Made;
    return made;
}

/// Joins \p words with blanks.
template <typename First, typename... More>
std::string Words(const First& first, const More&... more)
{
    std::ostringstream text;
    text << first;
    ((text << ' ' << more), ...);
    return text.str();
}

std::string Checksum(const std::vector<unsigned char>& bytes)
{
    unsigned sum = 0xFFFFFFFFu;
    for (const unsigned char byte : bytes) {
        sum ^= byte;
        for (unsigned bit = 0; bit < 8; ++bit) {
            sum = (sum >> 1) ^ (sum & 1 ? 0xEDB88320u : 0u);
        }
    }
    return std::to_string(bytes.size()) + " " + std::to_string(sum ^ 0xFFFFFFFFu);
}

/// \return 0 when the script lets the call succeed
template <typename... Parts>
int Call(const Parts&... parts)
{
    return LockStep::Instance().Call(Words(parts...)) ? 0 : 5;
}

std::string Kind(const Item& item)
{
    return typeid(item) == typeid(RegionDataItem)  ? "RegionDataItem"
           : typeid(item) == typeid(RegionVisItem) ? "RegionVisItem"
           : typeid(item) == typeid(PaletteItem)   ? "PaletteItem"
                                                   : "Item";
}

}  // namespace

/// Replaces the client's pauses: the receive thread waits for the console's next call, and the
/// console does not wait.
extern "C" int usleep(useconds_t microseconds)
{
    LockStep& lockStep = LockStep::Instance();
    if (lockStep.IsConsole()) {
        lockStep.Call(Words("pause", microseconds));
        return 0;
    }
    if (microseconds != idlePause) {
        lockStep.Note(Words("- the receive thread pauses", microseconds));
    }
    lockStep.Rest();
    return 0;
}

IpcMessage::IpcMessage() = default;
IpcMessage::~IpcMessage() = default;

int IpcMessage::Allocate(unsigned int id, unsigned int length, char* data)
{
    signalNumber = id;
    return Call("Allocate", id, length, data ? "data" : "null");
}

unsigned int IpcMessage::Length() const { return static_cast<unsigned int>(bytes.size()); }
unsigned char* IpcMessage::Data() { return bytes.data(); }

const std::string LinxIpc::emptyString;

LinxIpc::LinxIpc(const char* name) { MadeSoFar().endpoint = name; }

// The receive thread waits, or will wait soon, and no call lets it run again.
LinxIpc::~LinxIpc() = default;

int LinxIpc::Init() { return Call("Init"); }

int LinxIpc::Receive(int waitMs, unsigned int id, const std::string& from, IpcMessage* message)
{
    LockStep& lockStep = LockStep::Instance();
    if (waitMs != 10 || id != 0 || &from != &emptyString || message) {
        lockStep.Note("- received with other arguments");
    }
    LockStep::Subscription subscription{};
    if (!lockStep.HasBegun()) {  // no option frame: delivers one visibility of region 3
        if (!lockStep.TakeVisibilitySubscription(subscription)) {
            return 1;
        }
        receivedMessage.bytes = {3, 1};
        subscription.callback(this, subscription.userData);
        return 0;
    }
    if (!lockStep.Take(receivedMessage.bytes, subscription)) {
        return 1;
    }
    subscription.callback(this, subscription.userData);
    return 0;
}

int LinxIpc::Request(const std::string& server, IpcMessage& request, unsigned int replyId,
                     int waitMs, IpcMessage* reply)
{
    return Call("Request", server, request.signalNumber, replyId, waitMs, reply ? "reply" : "null");
}

int LinxIpc::Notify(const std::string& server, IpcMessage& message, bool flag)
{
    return Call("Notify", server, message.signalNumber, flag);
}

LinxServerNameList& LinxServerNameList::Instance()
{
    static LinxServerNameList& instance = *new LinxServerNameList;
    return instance;
}

const std::string& LinxServerNameList::Name(e_Process process) const
{
    static const std::string& titles = *new std::string("Titles");
    static const std::string& none = *new std::string;
    return process == LINX_SUBTITLED ? titles : none;
}

CommonCli::~CommonCli() = default;

int CommonCli::HandleLogLevel(LinxIpc&, const std::string& server)
{
    return 40 + Call("HandleLogLevel", server);
}

int CommonCli::SetLogLevel(LinxIpc&, const std::string& server, unsigned int level)
{
    return 60 + Call("SetLogLevel", server, level);
}

int CommonCli::PostInit() { return 1; }

/// Passes on every option, also after a failed one. LOCKSTEP_FOLDER is the folder of the script,
/// see LockStep.
int CommonCli::Go(char** argv, int argc, const std::string& shortOptions,
                  struct option* longOptions)
{
    const char* folder = std::getenv("LOCKSTEP_FOLDER");
    if (!folder) {
        return 2;
    }
    LockStep& lockStep = LockStep::Instance();
    lockStep.Begin(folder);
    const LogClient& log = *LogClient::Instance();
    lockStep.Note(Words("- made", MadeSoFar().endpoint, MadeSoFar().timeoutMs, log.Level(),
                        log.ProcessName()));
    lockStep.Note(Words("- PreInit", PreInit()));
    lockStep.ReceiverStarts();
    opterr = 0;
    int option;
    while ((option = getopt_long(argc, argv, shortOptions.c_str(), longOptions, nullptr)) != -1) {
        const int result = ProcessOption(option, optarg);
        lockStep.Note(Words("- option", option, result));
    }
    lockStep.Note(Words("- end", RunIt(), PostInit()));
    return 0;
}

int SubscribeClient::Subscribe(unsigned subscription, unsigned itemId, Item& item,
                               void (*callback)(LinxIpc*, void*), void* userData)
{
    LockStep& lockStep = LockStep::Instance();
    if (lockStep.NextCallSucceeds()) {
        lockStep.Subscribe(subscription, {itemId, callback, userData});
    }
    return Call("Subscribe", subscription, itemId, Kind(item), userData ? "data" : "null");
}

int SubscribeClient::Unsubscribe(unsigned subscription)
{
    LockStep::Instance().Unsubscribe(subscription);
    return Call("Unsubscribe", subscription);
}

SubtitleClient::SubtitleClient(LinxIpc&, int timeoutMs) { MadeSoFar().timeoutMs = timeoutMs; }

int SubtitleClient::SetRegionData(RegionDataItem& item)
{
    return Call("SetRegionData", +item.regionId, +item.subtitleFormat, Checksum(item.data));
}

int SubtitleClient::SetRegionVisibility(RegionVisItem& item)
{
    return Call("SetRegionVisibility", +item.regionId, static_cast<bool>(item.visible));
}

int SubtitleClient::SetPaletteData(PaletteItem& item)
{
    return Call("SetPaletteData", +item.regionId, +item.backgroundCode, item.fill,
                Checksum(item.paletteData));
}

int SubtitleClient::InvertRegionData(unsigned regionId)
{
    return Call("InvertRegionData", regionId);
}

int SubtitleClient::RefreshRegions() { return Call("RefreshRegions"); }

bool SubtitleClient::SendSensorUpdate(e_Sensors sensor, bool on)
{
    return Call("SendSensorUpdate", sensor, on) == 0;
}

LogClient* LogClient::Instance()
{
    static LogClient* const instance = new LogClient;
    return instance;
}

unsigned LogClient::Level() const { return mask; }

void LogClient::Level(unsigned newLevel) { mask = newLevel; }

const std::string& LogClient::ProcessName() const { return process; }

void LogClient::ProcessName(const std::string& newName) { process = newName; }

LogMsg::~LogMsg() = default;

std::ostream& LogMsg::Log(unsigned level, const std::string& processName)
{
    entry << level << " " << processName << " ";
    return entry;
}

SysLogMsg::SysLogMsg() = default;

SysLogMsg::~SysLogMsg() { LockStep::Instance().Log(entry.str()); }

bool StringUtilities::StringToBool(const std::string& text)
{
    std::string lower;
    for (const char letter : text) {
        lower += letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    for (const char* yes : {"t", "true", "y", "yes", "on", "1"}) {
        if (lower == yes) {
            return true;
        }
    }
    return false;
}
