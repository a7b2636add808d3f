// The platform's calls, each noted and answered as the session's script says.

#include "tests/sdk/lockstep/LockStep.h"

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

#include <unistd.h>

#include <cstdlib>
#include <typeinfo>

namespace {

constexpr unsigned idlePause = 500000;

/// What the client made before its session began.
struct Made {
    std::string endpoint;
    int timeoutMs = 0;
};

Made& MadeSoFar()
{
    static Made& made = *new Made;
    return made;
}

IpcMessage& MessageReceived()
{
    static IpcMessage& message = *new IpcMessage;
    return message;
}

std::string Words(const std::string& word) { return word; }

template <typename... More>
std::string Words(const std::string& word, const More&... more)
{
    return word + " " + Words(more...);
}

std::string Text(unsigned number) { return std::to_string(number); }

std::string Text(int number) { return std::to_string(number); }

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

int Result(bool succeeds) { return succeeds ? 0 : 5; }

int Call(const std::string& text) { return Result(LockStep::Instance().Call(text)); }

std::string Kind(const Item& item)
{
    return typeid(item) == typeid(RegionDataItem)  ? "RegionDataItem"
           : typeid(item) == typeid(RegionVisItem) ? "RegionVisItem"
           : typeid(item) == typeid(PaletteItem)   ? "PaletteItem"
                                                   : "Item";
}

}  // namespace

/// The client's pauses belong to the lock step: the receive thread's as long as the console makes
/// no call, the console's not at all.
extern "C" int usleep(useconds_t microseconds)
{
    LockStep& lockStep = LockStep::Instance();
    if (lockStep.IsConsole()) {
        lockStep.Call(Words("pause", Text(microseconds)));
        return 0;
    }
    if (microseconds != idlePause) {
        lockStep.Note("- the receive thread pauses " + Text(microseconds));
    }
    lockStep.Rest();
    return 0;
}

IpcMessage::IpcMessage() = default;
IpcMessage::~IpcMessage() = default;

int IpcMessage::Allocate(unsigned int id, unsigned int length, char* data)
{
    number = id;
    return Call(Words("Allocate", Text(id), Text(length), data ? "data" : "null"));
}

unsigned char* IpcMessage::Payload() { return bytes.data(); }

const std::string LinxIpc::emptyString;

LinxIpc::LinxIpc(const char* name) { MadeSoFar().endpoint = name; }

// The receive thread rests, or will, and nobody lets it run again.
LinxIpc::~LinxIpc() = default;

int LinxIpc::Init() { return Call("Init"); }

int LinxIpc::Receive(int waitMs, unsigned int id, const std::string& from, IpcMessage* message)
{
    LockStep& lockStep = LockStep::Instance();
    if (waitMs != 10 || id != 0 || &from != &emptyString || message) {
        lockStep.Note("- received with other arguments");
    }
    LockStep::Subscription subscription{};
    if (!lockStep.Take(MessageReceived().bytes, subscription)) {
        return 1;
    }
    subscription.callback(this, subscription.userData);
    return 0;
}

int LinxIpc::Request(const std::string& server, IpcMessage& request, unsigned int replyId,
                     int waitMs, IpcMessage* reply)
{
    return Call(Words("Request", server, Text(request.number), Text(replyId), Text(waitMs),
                      reply ? "reply" : "null"));
}

int LinxIpc::Notify(const std::string& server, IpcMessage& message, bool flag)
{
    return Call(Words("Notify", server, Text(message.number), Text(flag ? 1 : 0)));
}

IpcMessage& LinxIpc::ReceivedMessage() { return MessageReceived(); }

LinxServerNameList& LinxServerNameList::Instance()
{
    static LinxServerNameList& instance = *new LinxServerNameList;
    return instance;
}

const std::string& LinxServerNameList::Name(e_Process process) const
{
    static const std::string& titles = *new std::string("Titles");
    static const std::string& none = *new std::string;
    return static_cast<int>(process) == 5 ? titles : none;
}

CommonCli::~CommonCli() = default;

int CommonCli::HandleLogLevel(LinxIpc&, const std::string& server)
{
    return 40 + Call(Words("HandleLogLevel", server));
}

int CommonCli::SetLogLevel(LinxIpc&, const std::string& server, unsigned int level)
{
    return 60 + Call(Words("SetLogLevel", server, Text(level)));
}

int CommonCli::PostInit() { return 1; }

int CommonCli::Go(char** argv, int argc, const std::string& shortOptions,
                  struct option* longOptions)
{
    const char* folder = std::getenv("LOCKSTEP_FOLDER");
    if (!folder) {
        return 2;
    }
    LockStep& lockStep = LockStep::Instance();
    lockStep.Begin(folder);
    LogClient& log = LogClient::Instance();
    lockStep.Note(Words("- made", MadeSoFar().endpoint, Text(MadeSoFar().timeoutMs),
                        Text(log.Level()), log.ProcessName()));
    lockStep.Note(Words("- PreInit", Text(PreInit())));
    lockStep.ReceiverStarts();
    opterr = 0;
    for (int option = 0; option != -1;) {
        option = getopt_long(argc, argv, shortOptions.c_str(), longOptions, nullptr);
        if (option != -1) {
            const int result = ProcessOption(option, optarg);
            lockStep.Note(Words("- option", Text(option), Text(result)));
        }
    }
    lockStep.Note(Words("- end", Text(RunIt()), Text(PostInit())));
    return 0;
}

SubscribeClient::SubscribeClient(LinxIpc& endpoint) : ipc(endpoint) {}

int SubscribeClient::Subscribe(unsigned subscription, unsigned itemId, Item& item,
                               void (*callback)(LinxIpc*, void*), void* userData)
{
    LockStep& lockStep = LockStep::Instance();
    if (lockStep.NextCallSucceeds()) {
        lockStep.Subscribe(subscription, {itemId, callback, userData});
    }
    return Call(Words("Subscribe", Text(subscription), Text(itemId), Kind(item),
                      userData ? "data" : "null"));
}

int SubscribeClient::Unsubscribe(unsigned subscription)
{
    LockStep::Instance().Unsubscribe(subscription);
    return Call(Words("Unsubscribe", Text(subscription)));
}

SubtitleClient::SubtitleClient(LinxIpc& endpoint, int timeoutMs) : SubscribeClient(endpoint)
{
    MadeSoFar().timeoutMs = timeoutMs;
}

int SubtitleClient::SetRegionData(RegionDataItem& item)
{
    return Call(Words("SetRegionData", Text(item.regionId), Text(item.subtitleFormat),
                      Checksum(item.data)));
}

int SubtitleClient::SetRegionVisibility(RegionVisItem& item)
{
    return Call(Words("SetRegionVisibility", Text(item.regionId), Text(item.visible ? 1 : 0)));
}

int SubtitleClient::SetPaletteData(PaletteItem& item)
{
    return Call(Words("SetPaletteData", Text(item.regionId), Text(item.backgroundCode),
                      Text(item.fill ? 1 : 0), Checksum(item.paletteData)));
}

int SubtitleClient::InvertRegionData(unsigned regionId)
{
    return Call(Words("InvertRegionData", Text(regionId)));
}

int SubtitleClient::RefreshRegions() { return Call("RefreshRegions"); }

bool SubtitleClient::SendSensorUpdate(e_Sensors sensor, bool on)
{
    return Call(Words("SendSensorUpdate", Text(static_cast<int>(sensor)), Text(on ? 1 : 0))) == 0;
}

LogClient& LogClient::Instance()
{
    static LogClient& instance = *new LogClient;
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
