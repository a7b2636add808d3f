// Just enough behind the headers for the client to link and to show its usage: every request but
// one ping fails, nothing is ever received.

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

IpcMessage::IpcMessage() = default;
IpcMessage::~IpcMessage() = default;

int IpcMessage::Allocate(unsigned int id, unsigned int length, char*)
{
    signalNumber = id;
    return length == 0 ? 0 : 1;
}

unsigned char* IpcMessage::Payload() { return bytes; }

const std::string LinxIpc::emptyString;
LinxIpc::LinxIpc(const char* name) : ownName(name) {}
LinxIpc::~LinxIpc() = default;
int LinxIpc::Init() { return 0; }
int LinxIpc::Notify(const std::string&, IpcMessage&, bool) { return 1; }
IpcMessage& LinxIpc::ReceivedMessage() { return received; }

int LinxIpc::Receive(int waitMs, unsigned int, const std::string&, IpcMessage*)
{
    usleep(static_cast<useconds_t>(waitMs) * 1000);
    return 1;
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

void RegionVisItem::Decode(unsigned char*) {}
void RegionVisItem::Encode(unsigned char*) const {}
unsigned int RegionVisItem::EncodedSize() const { return 0; }

void PaletteItem::Decode(unsigned char*) { revision = 0; }
void PaletteItem::Encode(unsigned char* payload) const { payload[0] = revision != 0; }
unsigned int PaletteItem::EncodedSize() const { return 1; }

int SubscribeClient::Subscribe(unsigned, unsigned, Item&, void (*)(LinxIpc*, void*), void*)
{
    return 1;
}

int SubscribeClient::Unsubscribe(unsigned) { return 1; }

SubtitleClient::SubtitleClient(LinxIpc&, int) {}
int SubtitleClient::SetRegionData(RegionDataItem&) { return 1; }
int SubtitleClient::SetRegionVisibility(RegionVisItem&) { return 1; }
int SubtitleClient::SetPaletteData(PaletteItem&) { return 1; }
int SubtitleClient::InvertRegionData(unsigned) { return 1; }
int SubtitleClient::RefreshRegions() { return 1; }
bool SubtitleClient::SendSensorUpdate(e_Sensors, bool) { return false; }

LogClient& LogClient::Instance()
{
    static LogClient& client = *new LogClient;
    return client;
}

unsigned LogClient::Level() const { return mask; }
void LogClient::Level(unsigned newLevel) { mask = newLevel; }
const std::string& LogClient::ProcessName() const { return process; }
void LogClient::ProcessName(const std::string& newName) { process = newName; }

LogMsg::~LogMsg() = default;
std::ostream& LogMsg::Log(unsigned, const std::string&) { return entry; }

SysLogMsg::SysLogMsg() = default;
SysLogMsg::~SysLogMsg() = default;

bool StringUtilities::StringToBool(const std::string& text) { return text == "t"; }
