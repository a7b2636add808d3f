// The client's requirements on an SDK as types. Compiling this file against an SDK lists every
// difference in words. docs/device-sdk.md describes the behaviour of the calls.

#include <BoolItem.h>
#include <CommonCli.h>
#include <IpcMessage.h>
#include <Item.h>
#include <LinxIpc.h>
#include <LinxServerNameList.h>
#include <LogClient.h>
#include <LogMsg.h>
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>
#include <StringUtilities.h>
#include <SubscribeClient.h>
#include <SubtitleClient.h>
#include <SysLogMsg.h>

#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

namespace {

/// An object for expressions that are never evaluated. The function has no definition.
template <typename Object>
Object& The();

template <typename Wanted, typename Actual>
constexpr bool is = std::is_same_v<Wanted, Actual>;

const std::string text;
using Callback = void (*)(LinxIpc*, void*);
using Bytes = std::vector<unsigned char>;

// Messages
static_assert(std::is_default_constructible_v<IpcMessage>, "IpcMessage() makes an empty message");
static_assert(is<int, decltype(The<IpcMessage>().Allocate(1u, 0u, static_cast<char*>(nullptr)))>,
              "int IpcMessage::Allocate(unsigned id, unsigned length, char* data)");
static_assert(is<unsigned char*, decltype(The<IpcMessage>().Payload())>,
              "unsigned char* IpcMessage::Payload(); an adapter can give the accessor this name");

// Endpoint
static_assert(std::is_constructible_v<LinxIpc, const char*>, "LinxIpc(const char* name)");
static_assert(std::is_same_v<const std::string, decltype(LinxIpc::emptyString)>,
              "static const std::string LinxIpc::emptyString");
static_assert(is<int, decltype(The<LinxIpc>().Init())>, "int LinxIpc::Init()");
static_assert(is<int, decltype(The<LinxIpc>().Receive(10, 0u, LinxIpc::emptyString, nullptr))>,
              "int LinxIpc::Receive(int waitMs, unsigned id, const string& from, IpcMessage*)");
static_assert(
    is<int, decltype(The<LinxIpc>().Request(text, The<IpcMessage>(), 1u, -1, nullptr))>,
    "int LinxIpc::Request(const string&, IpcMessage&, unsigned replyId, int, IpcMessage*)");
static_assert(is<int, decltype(The<LinxIpc>().Notify(text, The<IpcMessage>(), true))>,
              "int LinxIpc::Notify(const string&, IpcMessage&, bool)");
static_assert(is<unsigned char*, decltype(The<LinxIpc>().ReceivedMessage().Payload())>,
              "LinxIpc::ReceivedMessage() is the message that Receive() took last");

// Names
static_assert(std::is_enum_v<e_Process> && std::is_enum_v<e_Sensors>,
              "e_Process and e_Sensors are enumerations; only their values matter");
static_assert(std::is_lvalue_reference_v<decltype(LinxServerNameList::Instance())>,
              "LinxServerNameList::Instance() is a reference; an adapter can make it one");
static_assert(is<const std::string&,
                 decltype(LinxServerNameList::Instance().Name(static_cast<e_Process>(5)))>,
              "const std::string& LinxServerNameList::Name(e_Process) const");

// Command-line frame
static_assert(std::has_virtual_destructor_v<CommonCli>, "~CommonCli() is virtual");
class Frame : public CommonCli {
public:
    void Usage() override {}
    int HandleLogLevel(LinxIpc& ipc, const std::string& server) override;
    int SetLogLevel(LinxIpc& ipc, const std::string& server, unsigned int level) override;
    int ProcessOption(int, const char*) override { return 0; }
    int RunIt() override { return 0; }
    int PreInit() override { return 0; }
    int PostInit() override;
};
static_assert(!std::is_abstract_v<Frame>, "CommonCli asks for an operation that no client has");
static_assert(std::is_convertible_v<
                  decltype(The<Frame>().Go(The<char**>(), 1, text, The<struct option*>())), int>,
              "int CommonCli::Go(char** argv, int argc, const string&, struct option*)");

// Records
template <typename Record>
constexpr bool isRecord =
    std::is_base_of_v<Item, Record>&& std::is_default_constructible_v<Record>&&
        is<void, decltype(The<Record>().Decode(The<unsigned char*>()))>&&
            is<unsigned int, decltype(The<const Record>().EncodedSize())>;
static_assert(
    isRecord<RegionDataItem> && isRecord<RegionVisItem> && isRecord<PaletteItem>,
    "each record is an Item with Decode(unsigned char*) and unsigned EncodedSize() const");
static_assert(is<unsigned char, decltype(RegionDataItem::regionId)> &&
                  is<unsigned char, decltype(RegionDataItem::subtitleFormat)> &&
                  is<Bytes, decltype(RegionDataItem::data)>,
              "RegionDataItem: unsigned char regionId, subtitleFormat; vector<unsigned char> data");
static_assert(is<unsigned char, decltype(RegionVisItem::regionId)> &&
                  std::is_assignable_v<decltype(RegionVisItem::visible)&, const bool&> &&
                  std::is_convertible_v<decltype(RegionVisItem::visible), bool>,
              "RegionVisItem: unsigned char regionId; BoolItem visible, a bool to read and assign");
static_assert(is<unsigned char, decltype(PaletteItem::regionId)> &&
                  is<unsigned char, decltype(PaletteItem::backgroundCode)> &&
                  is<bool, decltype(PaletteItem::fill)> &&
                  is<Bytes, decltype(PaletteItem::paletteData)>,
              "PaletteItem: unsigned char regionId, backgroundCode; bool fill; vector paletteData");

// Subtitle service
static_assert(std::is_constructible_v<SubtitleClient, LinxIpc&, int>,
              "SubtitleClient(LinxIpc&, int timeoutMs)");
static_assert(std::is_base_of_v<SubscribeClient, SubtitleClient>,
              "SubtitleClient is a SubscribeClient");
static_assert(is<int, decltype(The<SubtitleClient>().Subscribe(2u, 15129u, The<RegionDataItem>(),
                                                               The<Callback>(), nullptr))>,
              "int SubscribeClient::Subscribe(unsigned, unsigned, Item&, callback, void*)");
static_assert(std::is_convertible_v<decltype(The<SubtitleClient>().Unsubscribe(1u)), int>,
              "int SubscribeClient::Unsubscribe(unsigned)");
static_assert(std::is_convertible_v<
                  decltype(The<SubtitleClient>().SetRegionData(The<RegionDataItem>())), int>,
              "int SubtitleClient::SetRegionData(RegionDataItem&)");
static_assert(std::is_convertible_v<
                  decltype(The<SubtitleClient>().SetRegionVisibility(The<RegionVisItem>())), int>,
              "int SubtitleClient::SetRegionVisibility(RegionVisItem&)");
static_assert(
    std::is_convertible_v<decltype(The<SubtitleClient>().SetPaletteData(The<PaletteItem>())), int>,
    "int SubtitleClient::SetPaletteData(PaletteItem&)");
static_assert(std::is_convertible_v<decltype(The<SubtitleClient>().InvertRegionData(1u)), int>,
              "int SubtitleClient::InvertRegionData(unsigned)");
static_assert(is<int, decltype(The<SubtitleClient>().RefreshRegions())>,
              "int SubtitleClient::RefreshRegions(), 0 for success");
static_assert(
    is<bool, decltype(The<SubtitleClient>().SendSensorUpdate(static_cast<e_Sensors>(5), true))>,
    "bool SubtitleClient::SendSensorUpdate(e_Sensors, bool), true for success");

// Log
static_assert(std::is_lvalue_reference_v<decltype(LogClient::Instance())>,
              "LogClient::Instance() is a reference; an adapter can make it one");
static_assert(is<unsigned, decltype(LogClient::Instance().Level())>,
              "unsigned LogClient::Level() const");
static_assert(is<void, decltype(LogClient::Instance().Level(63u))>, "LogClient::Level(unsigned)");
static_assert(is<const std::string&, decltype(LogClient::Instance().ProcessName())>,
              "const std::string& LogClient::ProcessName() const");
static_assert(is<void, decltype(LogClient::Instance().ProcessName(text))>,
              "LogClient::ProcessName(const std::string&)");
static_assert(std::is_base_of_v<LogMsg, SysLogMsg> && std::is_default_constructible_v<SysLogMsg>,
              "SysLogMsg is a LogMsg, made without arguments");
static_assert(is<std::ostream&, decltype(The<SysLogMsg>().Log(2u, text))>,
              "std::ostream& LogMsg::Log(unsigned level, const string& processName)");

// Small helpers
static_assert(is<bool, decltype(StringUtilities::StringToBool(text))>,
              "static bool StringUtilities::StringToBool(const string&)");

}  // namespace
