// A client's endpoint and a service that sends any bytes: each call has the model's result, and
// each notification with a subscription arrives once, in order, with the correct bytes.
//
// No call waits: the service sends before the client calls. Input: steps, each a byte and its
// choices.

#include "tests/fuzz/choices.h"
#include "tests/fuzz/endpoint_model.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/sockets.h"

#include <IpcMessage.h>
#include <LinxIpc.h>
#include <LogClient.h>
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <SubtitleClient.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>

namespace {

const std::string serviceName = "SubtitleMgr";

/// The only endpoint of the process, which is never freed, and the service's listening socket.
struct Equipment {
    Equipment()
    {
        const std::string folder = ScratchFolder() + "/linx";
        Require(mkdir(folder.c_str(), 0700) == 0, "cannot make the messaging directory");
        setenv("LINX_DIR", folder.c_str(), 1);
        setenv("SUBTITLE_LOG", "/dev/null", 1);
        LogClient::Instance().Level(63);
        listening = ListenAt(folder + "/" + serviceName);
        Require(ipc.Init() == 0, "the endpoint cannot be opened");
    }

    Descriptor listening;
    LinxIpc ipc{"fuzz"};
    SubtitleClient client{ipc, /*requestTimeoutMs*/ 0};
};

Equipment& TheEquipment()
{
    static Equipment& equipment = *new Equipment;
    return equipment;
}

class Conversation {
public:
    explicit Conversation(Choices& bytes) : choices(bytes) {}

    void Run();

private:
    void Connect();
    void Listen();
    void Step();
    void Send(const std::string& bytes);
    void SendFrames();
    std::string ChooseFrame();
    std::string ChooseAnswer(unsigned int request);
    template <typename Deed>
    int Request(unsigned int request, const std::string& before, Deed call);
    void Ask();
    int Call(unsigned int request, const std::string& payload);
    void Subscribe();
    void Unsubscribe(unsigned int number);
    void HangUp();
    void Drain();
    static void OnNotification(LinxIpc* ipc, void* userData);

    /// The callback compares with this conversation; there is only one at a time.
    static EndpointModel* current;

    Choices& choices;
    Equipment& equipment = TheEquipment();
    EndpointModel model;
    Descriptor socket;
    std::string heard;
    unsigned int lastCorrelation = 0;
};

EndpointModel* Conversation::current = nullptr;

void Conversation::Run()
{
    current = &model;
    Connect();
    for (int steps = 0; steps < 32 && !choices.IsAtEnd(); ++steps) {
        Step();
    }
    for (const EndpointModel::Subscription& subscription : model.Subscriptions()) {
        Unsubscribe(subscription.number);
    }
    socket = Descriptor();
    model.Disconnected();
    Drain();
    current = nullptr;
}

/// Makes a new connection, in any state of the old one.
void Conversation::Connect()
{
    IpcMessage ping;
    Require(ping.Allocate(reference::ping, 0, nullptr) == 0, "no message");
    Require(equipment.ipc.Notify(serviceName, ping, false) == 0, "cannot connect");
    Listen();
    if (!socket) {  // the old connection was still open
        Require(equipment.ipc.Notify(serviceName, ping, false) == 0, "cannot connect again");
        Listen();
    }
    Require(equipment.ipc.Request(serviceName, ping, reference::ping + 1, 0, nullptr) == ETIMEDOUT,
            "an answer although none was sent");
    Listen();
    Require(socket && lastCorrelation != 0, "no request arrived");
}

/// Accepts a new connection, and checks that the client has sent well-formed frames.
void Conversation::Listen()
{
    Descriptor accepted;
    while ((accepted =
                Descriptor(accept4(equipment.listening.Get(), nullptr, nullptr, SOCK_CLOEXEC)))) {
        socket = std::move(accepted);
        heard.clear();
        model.Connected();
    }
    heard += ReceiveAll(socket.Get());
    ReferenceFrame frame;
    while (TakeFrame(heard, frame) == StreamEnd::Complete) {
        Require((frame.kind == 1 || frame.kind == 4) &&
                    ReferenceIsWellFormed(frame.messageId, frame.payload),
                "the client sent a malformed request");
        if (frame.kind == 1 && frame.correlation != 0) {
            lastCorrelation = frame.correlation;
        }
    }
    Require(heard.empty(), "the client sent an incomplete frame");
}

void Conversation::Step()
{
    switch (choices.Below(8)) {
    case 0: HangUp(); break;
    case 1: Subscribe(); break;
    case 2: Unsubscribe(choices.Below(14)); break;
    case 3:
    case 4: Ask(); break;
    default: SendFrames(); break;
    }
    Listen();
    Drain();
}

void Conversation::Send(const std::string& bytes)
{
    if (model.IsConnected()) {  // otherwise the client has stopped reading
        SendAll(socket.Get(), bytes);
        model.Hears(bytes);
    }
}

void Conversation::SendFrames()
{
    std::string bytes;
    for (unsigned int frames = choices.Below(4); frames > 0; --frames) {
        bytes += ChooseFrame();
    }
    Send(bytes + ChooseFrame());
}

std::string Conversation::ChooseFrame()
{
    using namespace reference;
    if (choices.OnceIn(32)) {
        return choices.Bytes(choices.Byte() % 64);
    }
    if (choices.OnceIn(8)) {
        return ChooseAnswer(ping + choices.Byte());
    }
    constexpr unsigned int items[] = {regionData, visibility, palette};
    const unsigned int kind = choices.OnceIn(32) ? choices.Below(6) : 3;
    const unsigned int item =
        choices.OnceIn(16) ? regionData + choices.Byte() : items[choices.Below(3)];
    const unsigned int correlation = choices.OnceIn(32) ? choices.U32() : choices.Below(14);
    const std::string payload = ChoosePayload(choices, item);
    return FrameOf(kind, item, correlation, payload, ChooseClaim(choices, payload));
}

/// Bytes that answer the next request: usually the right reply, rarely nothing.
std::string Conversation::ChooseAnswer(unsigned int request)
{
    const unsigned int correlation = lastCorrelation + 1;
    const std::string accepted = request == reference::ping ? "" : BigEndian(0);
    switch (choices.Below(10)) {
    case 0: return "";
    case 1: return FrameOf(2, request + 1, correlation, BigEndian(1));
    case 2: return FrameOf(2, request, correlation, accepted);
    case 3: return FrameOf(2, request + 1, lastCorrelation - choices.Byte(), accepted);
    case 4: return FrameOf(2, request + 1, 0, accepted);
    case 5: return FrameOf(2, request + 1, correlation, choices.Bytes(choices.Byte() % 16));
    case 6: {
        const std::string reply = FrameOf(2, request + 1, correlation, accepted);
        return reply + reply;
    }
    default: return FrameOf(2, request + 1, correlation, accepted);
    }
}

/// Sends the answer, then makes the call that \p request belongs to.
template <typename Deed>
int Conversation::Request(unsigned int request, const std::string& before, Deed call)
{
    const std::string bytes = before + ChooseAnswer(request);
    model.Expect(request, lastCorrelation + 1);
    Send(bytes);
    const int result = call();
    RequireEqual(std::to_string(result), std::to_string(model.Result()),
                 "a request returned a wrong result");
    model.EndRequest();
    return result;
}

void Conversation::Ask()
{
    using namespace reference;
    constexpr unsigned int requests[] = {ping,   setRegionData, setRegionData, setPalette,
                                         invert, refresh,       sensor};
    const unsigned int request = requests[choices.Below(7)];
    const std::string payload = choices.Bytes(choices.Byte() % 64);
    const std::string before = choices.OnceIn(4) ? ChooseFrame() : "";
    Request(request, before, [&] { return Call(request, payload); });
}

int Conversation::Call(unsigned int request, const std::string& payload)
{
    SubtitleClient& client = equipment.client;
    switch (request) {
    case reference::setRegionData: {
        RegionDataItem item;
        item.data.assign(payload.begin(), payload.end());
        return client.SetRegionData(item);
    }
    case reference::setPalette: {
        PaletteItem item;
        item.paletteData.assign(payload.begin(), payload.end());
        return client.SetPaletteData(item);
    }
    case reference::invert: return client.InvertRegionData(3);
    case reference::refresh: return client.RefreshRegions();
    case reference::sensor: {
        // This call returns no error number, so take the expected one.
        const bool sent = client.SendSensorUpdate(static_cast<e_Sensors>(5), true);
        const int expected = model.Result();
        return sent == (expected == 0) ? expected : -1;
    }
    default: {
        IpcMessage message;
        IpcMessage reply;
        Require(message.Allocate(request, 0, nullptr) == 0, "no message");
        return equipment.ipc.Request(serviceName, message, request + 1, 0, &reply);
    }
    }
}

void Conversation::Subscribe()
{
    using namespace reference;
    constexpr unsigned int items[] = {regionData, visibility, palette};
    EndpointModel::Subscription asked{};
    asked.number = choices.Below(14);
    asked.item = choices.OnceIn(8) ? regionData + choices.Byte() : items[choices.Below(3)];
    model.BeginSubscription(asked);
    RegionDataItem unused;
    const int result = Request(subscribe, "", [&] {
        return equipment.client.Subscribe(asked.number, asked.item, unused, OnNotification,
                                          EndpointModel::TagOf(asked));
    });
    model.SettleSubscription(result == 0);
}

void Conversation::Unsubscribe(unsigned int number)
{
    model.EndSubscription(number);
    Request(reference::unsubscribe, "", [&] { return equipment.client.Unsubscribe(number); });
    Listen();
}

void Conversation::HangUp()
{
    if (choices.OnceIn(2)) {
        socket = Descriptor();
    } else {
        EndSending(socket.Get());
    }
    model.Disconnected();
}

/// Receives all notifications and compares them with the model.
void Conversation::Drain()
{
    for (int idle = 0; idle < 2;) {
        const std::size_t before = model.Awaited();
        const int result = equipment.ipc.Receive(0, 0, LinxIpc::emptyString, nullptr);
        Require(result == 0 || result == ETIMEDOUT, "Receive() failed");
        Require(model.Awaited() == before - (result == 0 ? 1 : 0),
                "a notification did not cause exactly one callback");
        idle += result == 0 ? 0 : 1;
    }
    Require(model.Awaited() == 0, "a notification did not arrive");
    Listen();
}

void Conversation::OnNotification(LinxIpc* ipc, void* userData)
{
    const EndpointModel::Notification expected = current->TakeNotification();
    Require(expected.tag == userData, "a callback got wrong user data");
    const unsigned char* const payload = ipc->ReceivedMessage().Payload();
    Require(payload != nullptr || expected.payload.empty(), "a notification has no bytes");
    Require(expected.payload.empty() ||
                std::memcmp(payload, expected.payload.data(), expected.payload.size()) == 0,
            "a notification has wrong bytes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Choices choices(bytes, size);
    Conversation(choices).Run();
    return 0;
}
