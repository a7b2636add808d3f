// Plays the library that a vendor ships beside its headers. Just enough to see that the client gets
// through to it: one ping is answered, one notification arrives, every other request fails, and log
// entries go to standard error.

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

#include <iostream>
#include <unistd.h>

IpcMessage::IpcMessage() = default;
IpcMessage::~IpcMessage() = default;

int IpcMessage::Allocate(unsigned int id, unsigned int length, char*)
{
    signalNumber = id;
    return length == 0 ? 0 : 1;
}

unsigned int IpcMessage::Length() const { return sizeof bytes; }
unsigned char* IpcMessage::Data() { return bytes; }

const std::string LinxIpc::emptyString;
LinxIpc::LinxIpc(const char* name) : ownName(name) {}
LinxIpc::~LinxIpc() = default;
int LinxIpc::Init() { return 0; }
int LinxIpc::Notify(const std::string&, IpcMessage&, bool) { return 1; }

namespace {

constexpr unsigned visibilityId = 15132;
void (*visibilityCallback)(LinxIpc*, void*);

}  // namespace

// Region 3 becomes visible, once.
int LinxIpc::Receive(int waitMs, unsigned int, const std::string&, IpcMessage*)
{
    if (!visibilityCallback) {
        usleep(static_cast<useconds_t>(waitMs) * 1000);
        return 1;
    }
    const auto callback = visibilityCallback;
    visibilityCallback = nullptr;
    receivedMessage.Data()[0] = 3;
    receivedMessage.Data()[1] = 1;
    callback(this, nullptr);
    return 0;
}

int LinxIpc::Request(const std::string& server, IpcMessage&, unsigned int, int, IpcMessage*)
{
    return server == "node1/vendor_subtitled" ? 0 : 1;
}

LinxServerNameList& LinxServerNameList::Instance()
{
    static LinxServerNameList& list = *new LinxServerNameList;
    list.names[LINX_SUBTITLED] = "vendor_subtitled";
    return list;
}

const std::string& LinxServerNameList::Name(e_Process process) const { return names[process]; }

CommonCli::~CommonCli() = default;
int CommonCli::HandleLogLevel(LinxIpc&, const std::string&) { return 2; }
int CommonCli::SetLogLevel(LinxIpc&, const std::string&, unsigned int) { return 0; }
int CommonCli::PostInit() { return 1; }

int CommonCli::Go(char** argv, int argc, const std::string& shortOptions,
                  struct option* longOptions)
{
    PreInit();
    int result = 1;
    int option;
    while ((option = getopt_long(argc, argv, shortOptions.c_str(), longOptions, nullptr)) != -1) {
        result = ProcessOption(option, optarg);
    }
    RunIt();
    PostInit();
    return result;
}

Item::~Item() = default;

BoolItem& BoolItem::operator=(bool const& newValue)
{
    flag = newValue ? 1 : 0;
    return *this;
}

BoolItem::operator bool() const { return flag != 0; }
void BoolItem::Decode(unsigned char* payload) { flag = payload[0]; }
void BoolItem::Encode(unsigned char* payload) const { payload[0] = flag != 0; }
unsigned int BoolItem::EncodedSize() const { return 1; }

void RegionDataItem::Decode(unsigned char*) { width = 0; }
void RegionDataItem::Encode(unsigned char* payload) const { payload[0] = width != 0; }
unsigned int RegionDataItem::EncodedSize() const { return 1; }

void RegionVisItem::Decode(unsigned char* payload)
{
    regionId = payload[0];
    visible.Decode(payload + 1);
}
void RegionVisItem::Encode(unsigned char*) const {}
unsigned int RegionVisItem::EncodedSize() const { return 0; }

void PaletteItem::Decode(unsigned char*) { revision = 0; }
void PaletteItem::Encode(unsigned char* payload) const { payload[0] = revision != 0; }
unsigned int PaletteItem::EncodedSize() const { return 1; }

int SubscribeClient::Subscribe(unsigned, unsigned itemId, Item&, void (*callback)(LinxIpc*, void*),
                               void*)
{
    if (itemId != visibilityId) {
        return 1;
    }
    visibilityCallback = callback;
    return 0;
}

int SubscribeClient::Unsubscribe(unsigned) { return 1; }

SubtitleClient::SubtitleClient(LinxIpc&, int) {}
int SubtitleClient::SetRegionData(RegionDataItem&) { return 1; }
int SubtitleClient::SetRegionVisibility(RegionVisItem&) { return 1; }
int SubtitleClient::SetPaletteData(PaletteItem&) { return 1; }
int SubtitleClient::InvertRegionData(unsigned) { return 1; }
int SubtitleClient::RefreshRegions() { return 1; }
bool SubtitleClient::SendSensorUpdate(e_Sensors, bool) { return false; }

LogClient* LogClient::Instance()
{
    static LogClient* const client = new LogClient;
    return client;
}

unsigned LogClient::Level() const { return mask; }
void LogClient::Level(unsigned newLevel) { mask = newLevel; }
const std::string& LogClient::ProcessName() const { return process; }
void LogClient::ProcessName(const std::string& newName) { process = newName; }

LogMsg::~LogMsg() = default;

std::ostream& LogMsg::Log(unsigned level, const std::string& processName)
{
    return entry << processName << ' ' << level << ' ';
}

SysLogMsg::SysLogMsg() = default;
SysLogMsg::~SysLogMsg() { std::cerr << entry.str() << std::endl; }

bool StringUtilities::StringToBool(const std::string& text) { return text == "t"; }
