// A client's endpoint and a service that sends any bytes: the client sends well-formed frames only,
// a request succeeds only after its reply, a callback gets a record that was sent, and afterwards
// the endpoint still works.
//
// No call waits: the service sends before the client calls. Input: steps, each a byte and its
// choices.

#include "tests/fuzz/frames.h"
#include "tests/fuzz/fuzz_target.h"

#include <IpcMessage.h>
#include <LinxIpc.h>
#include <LogClient.h>
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>
#include <SubtitleClient.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

namespace {

const std::string serviceName = "SubtitleMgr";
constexpr unsigned int subscriptionNumbers = 14;

/// The only endpoint of the process, which is never freed, and its service.
struct Equipment {
    Equipment()
    {
        setenv("LINX_DIR", Scratch().Path().c_str(), 1);
        setenv("SUBTITLE_LOG", "/dev/null", 1);
        LogClient::Instance().Level(63);
        Require(ipc.Init() == 0, "the endpoint cannot be opened");
    }

    RawService service{Scratch() / serviceName};
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

    void Run()
    {
        Connect();
        for (int steps = 0; steps < 32 && !choices.IsAtEnd(); ++steps) {
            Step();
        }
        for (unsigned int number = 0; number < subscriptionNumbers; ++number) {
            Unsubscribe(number);
        }
        peer.reset();
        Drain();
        Connect();
        Send(RightAnswer(messages::ping));
        Require(Ping() == 0, "the endpoint cannot be used any more");
        peer.reset();
        Drain();
    }

private:
    /// Accepts a new connection, and checks what the client has sent.
    void Listen()
    {
        while (equipment.service.HasClient()) {
            peer = equipment.service.Accept();
            hasHungUp = false;
        }
        while (peer && peer->HasInput() && !peer->HasEnded()) {
            const RawFrame frame = peer->ReceiveFrame();
            const bool isRequest = frame.header.kind == FrameKind::Request;
            Require(isRequest || frame.header.kind == FrameKind::OneWay, "a wrong kind of frame");
            Require(IsSound(frame.header.messageId, frame.payload), "a malformed request");
            if (isRequest) {
                lastCorrelation = frame.header.correlation;
            }
        }
    }

    /// Makes a new connection, in any state of the old one.
    void Connect()
    {
        do {
            Require(Ping() != 0, "an answer although none was sent");
            Listen();
        } while (!peer);
    }

    void Send(const std::string& bytes)
    {
        if (peer && !hasHungUp && !peer->HasEnded()) {
            peer->Send(bytes);
            sent += bytes;
        }
    }

    std::string RightAnswer(unsigned int request) const
    {
        return FrameBytes(FrameKind::Reply, request + 1, lastCorrelation + 1,
                          request == messages::ping ? "" : U32(0));
    }

    /// Bytes that answer the next request: usually the right reply, rarely nothing.
    std::string ChooseAnswer(unsigned int request)
    {
        using namespace messages;
        const unsigned int correlation = lastCorrelation + 1;
        const std::string accepted = request == ping ? "" : U32(0);
        const auto reply = [](unsigned int messageId, unsigned int number,
                              const std::string& bytes) {
            return FrameBytes(FrameKind::Reply, messageId, number, bytes);
        };
        switch (choices.Below(10)) {
        case 0: return "";
        case 1: return reply(request + 1, correlation, U32(1));
        case 2: return reply(request, correlation, accepted);
        case 3: return reply(request + 1, lastCorrelation - choices.Byte(), accepted);
        case 4: return reply(request + 1, 0, accepted);
        case 5: return reply(request + 1, correlation, choices.Bytes(choices.Byte() % 16));
        case 6: return RightAnswer(request) + RightAnswer(request);
        default: return RightAnswer(request);
        }
    }

    std::string ChooseFrame()
    {
        using namespace messages;
        if (choices.OnceIn(32)) {
            return choices.Bytes(choices.Byte() % 64);
        }
        if (choices.OnceIn(8)) {
            return ChooseAnswer(ping + choices.Byte());
        }
        constexpr unsigned int items[] = {regionDataItem, regionVisItem, paletteItem};
        const unsigned int kind = choices.OnceIn(32) ? choices.Below(6) : 3;
        const unsigned int item =
            choices.OnceIn(16) ? regionDataItem + choices.Byte() : items[choices.Below(3)];
        const unsigned int correlation =
            choices.OnceIn(32) ? choices.U32() : choices.Below(subscriptionNumbers);
        const std::string payload = ChoosePayload(choices, item);
        return AnyFrame(kind, item, correlation, payload, ChooseClaim(choices, payload));
    }

    void SendFrames()
    {
        std::string bytes;
        for (unsigned int frames = choices.Below(4); frames > 0; --frames) {
            bytes += ChooseFrame();
        }
        Send(bytes + ChooseFrame());
    }

    /// Sends an answer, then makes the call that \p request belongs to.
    template <typename Deed>
    void Request(unsigned int request, const std::string& before, Deed call)
    {
        const std::string bytes = before + ChooseAnswer(request);
        const std::string right = RightAnswer(request);
        Send(bytes);
        Require(call() != 0 || bytes.find(right) != std::string::npos,
                "a request succeeded without its reply");
    }

    int Ping()
    {
        IpcMessage message;
        IpcMessage reply;
        Require(message.Allocate(messages::ping, 0, nullptr) == 0, "no message");
        return equipment.ipc.Request(serviceName, message, messages::ping + 1, 0, &reply);
    }

    void Ask()
    {
        const bool isPing = choices.Below(7) == 0;
        const std::string pixels = choices.Bytes(choices.Byte() % 64);
        const std::string before = choices.OnceIn(4) ? ChooseFrame() : "";
        Request(isPing ? messages::ping : messages::setRegionData, before, [&] {
            RegionDataItem item;
            item.data.assign(pixels.begin(), pixels.end());
            return isPing ? Ping() : equipment.client.SetRegionData(item);
        });
    }

    static void OnAnything(LinxIpc*, void* conversation)
    {
        ++static_cast<Conversation*>(conversation)->callbacks;
    }

    template <typename Record>
    static void OnRecord(LinxIpc* ipc, void* conversation)
    {
        unsigned char* const bytes = ipc->ReceivedMessage().Payload();
        Record record;
        record.Decode(bytes);
        const unsigned int size = record.EncodedSize();
        Require(
            static_cast<Conversation*>(conversation)
                    ->sent.find(U32(size) + std::string(bytes, bytes + size)) != std::string::npos,
            "a record was not sent");
        OnAnything(ipc, conversation);
    }

    void Subscribe()
    {
        using namespace messages;
        constexpr unsigned int items[] = {regionDataItem, regionVisItem, paletteItem};
        const unsigned int number = choices.Below(subscriptionNumbers);
        const unsigned int item =
            choices.OnceIn(8) ? regionDataItem + choices.Byte() : items[choices.Below(3)];
        const auto callback = item == regionDataItem  ? OnRecord<RegionDataItem>
                              : item == regionVisItem ? OnRecord<RegionVisItem>
                              : item == paletteItem   ? OnRecord<PaletteItem>
                                                      : OnAnything;
        Request(subscribe, "", [&] {
            RegionDataItem unused;
            return equipment.client.Subscribe(number, item, unused, callback, this);
        });
    }

    void Unsubscribe(unsigned int number)
    {
        Request(messages::unsubscribe, "", [&] { return equipment.client.Unsubscribe(number); });
        Listen();
    }

    void HangUp()
    {
        if (choices.OnceIn(2)) {
            peer.reset();
        } else if (peer) {
            peer->EndSending();
            hasHungUp = true;
        }
    }

    /// Receives all notifications.
    void Drain()
    {
        for (int idle = 0; idle < 2;) {
            const unsigned int before = callbacks;
            const int result = equipment.ipc.Receive(0, 0, LinxIpc::emptyString, nullptr);
            Require(result == 0 || result == ETIMEDOUT, "Receive() failed");
            Require(callbacks == before + (result == 0 ? 1 : 0),
                    "a notification did not cause exactly one callback");
            idle += result == 0 ? 0 : 1;
        }
        Listen();
    }

    void Step()
    {
        switch (choices.Below(8)) {
        case 0: HangUp(); break;
        case 1: Subscribe(); break;
        case 2: Unsubscribe(choices.Below(subscriptionNumbers)); break;
        case 3:
        case 4: Ask(); break;
        default: SendFrames(); break;
        }
        Listen();
        Drain();
    }

    Choices& choices;
    Equipment& equipment = TheEquipment();
    std::unique_ptr<RawConnection> peer;
    bool hasHungUp = false;
    std::string sent;  ///< by the service
    unsigned int lastCorrelation = 0;
    unsigned int callbacks = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Choices choices(bytes, size);
    try {
        Conversation(choices).Run();
    } catch (const std::runtime_error& error) {
        Require(false, error.what());
    }
    return 0;
}
