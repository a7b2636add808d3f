// Three clients that send any frames to the service. The service answers each request once, in
// order. All notifications are well-formed and belong to a subscription of their client. The
// service closes no connection of a client that obeys the protocol.
//
// Input: bursts, each a client, the number of frames, and their choices.

#include "tests/fuzz/frames.h"
#include "tests/fuzz/fuzz_target.h"

#include "platform/src/big_endian.h"
#include "simulator/journal/logs.h"
#include "simulator/server.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace sim;

namespace {

const std::string quitFrame = FrameBytes(FrameKind::OneWay, messages::quit, 0, "");

/// \return false if the service has ended
bool Ping(RawConnection& connection)
{
    try {
        connection.SendFrame(FrameKind::Request, messages::ping, 7);
        connection.ReceiveFrame();
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

std::string SocketPath() { return Scratch() / "service"; }

/// A service on a thread of its own, with one connection that only waits for it.
class RunningService {
public:
    RunningService()
    {
        setenv("LINX_DIR", Scratch().Path().c_str(), 1);
        std::string problem;
        Require(listener.Open("service", problem), "the socket cannot be made");
        thread = std::thread([this] { Serve(); });
        control = std::make_unique<RawClient>(SocketPath());
        Require(Ping(*control), "the service does not answer");
    }
    ~RunningService()
    {
        try {
            control->Send(quitFrame);
        } catch (const std::runtime_error&) {  // it has ended
        }
        thread.join();
    }
    RunningService(const RunningService&) = delete;
    RunningService& operator=(const RunningService&) = delete;

    /// Waits until the service has handled everything that was sent before. Needs two pings,
    /// because events of one turn have any order. \return false if the service has ended
    bool Settle() { return Ping(*control) && Ping(*control); }

private:
    void Serve()
    {
        const Options options;
        Logs logs{"SubtitleMgr"};
        std::string problem;
        Server server(listener, options, logs);
        Require(server.Open(problem), "the service cannot start");
        server.Run();
    }

    Listener listener;
    std::thread thread;
    std::unique_ptr<RawClient> control;
};

unsigned int ChooseMessage(Choices& choices)
{
    using namespace messages;
    constexpr unsigned int requests[] = {subscribe,        setRegionData,  setRegionVisibility,
                                         setPaletteData,   subscribe,      unsubscribe,
                                         invertRegionData, refreshRegions, sendSensorUpdate,
                                         getLogLevel,      setLogLevel,    ping};
    return choices.OnceIn(24) ? quit + choices.U32() % 512 : requests[choices.Below(12)];
}

class Client {
public:
    /// \param mayEnd  set when any client may have ended the service
    explicit Client(bool& mayEnd) : serviceMayEnd(mayEnd)
    {
        Require(Ping(*peer), "the service does not accept a client");
    }

    void Burst(Choices& choices)
    {
        if (!peer || hasEnded) {
            return;
        }
        const unsigned int action = choices.Byte();
        if (action >= 252) {
            peer->EndSending();
            hasEnded = true;
        } else if (action >= 248) {
            peer.reset();
        } else {
            std::string bytes;
            for (unsigned int frames = 0; frames <= action % 4; ++frames) {
                bytes += ChooseFrame(choices);
            }
            Send(bytes);
        }
    }

    void Receive()
    {
        while (peer && peer->HasInput() && !peer->HasEnded()) {
            const RawFrame frame = peer->ReceiveFrame();
            Require(IsSound(frame.header.messageId, frame.payload), "a malformed message");
            if (frame.header.kind == FrameKind::Reply) {
                CheckReply(frame.header);
            } else {
                CheckNotification(frame.header);
            }
        }
        Require(!peer || !peer->HasEnded() || !obeys || hasEnded || serviceMayEnd,
                "a connection is wrongly closed");
    }

    bool AllAnswered() const { return !peer || !obeys || replies == asked.size(); }

private:
    std::string ChooseFrame(Choices& choices)
    {
        if (choices.OnceIn(64)) {
            obeys = false;
            return choices.Bytes(choices.Byte());
        }
        if (choices.OnceIn(128)) {
            return quitFrame;
        }
        const unsigned int kind = choices.OnceIn(32) ? choices.Below(6) : 1;
        const unsigned int messageId = ChooseMessage(choices);
        const std::string payload = ChoosePayload(choices, messageId);
        const unsigned int correlation = choices.Byte();
        const std::size_t claimed =
            choices.OnceIn(16) ? ChooseClaim(choices, payload) : payload.size();
        obeys = obeys && kind == 1 && claimed == payload.size();
        if (obeys) {
            asked.push_back({FrameKind::Request, messageId, correlation, 0});
        }
        if (messageId == messages::subscribe && payload.size() == 8) {
            subscribed.insert(GetU32(reinterpret_cast<const unsigned char*>(payload.data())));
        }
        return AnyFrame(kind, messageId, correlation, payload, claimed);
    }

    void Send(const std::string& bytes)
    {
        sent += bytes;
        serviceMayEnd = serviceMayEnd || sent.find(quitFrame.substr(0, 8)) != std::string::npos;
        try {
            peer->Send(bytes);
        } catch (const std::runtime_error&) {
            Require(!obeys || serviceMayEnd, "a connection is wrongly closed");
        }
    }

    void CheckReply(const FrameHeader& reply)
    {
        const std::size_t at = replies++;
        Require(at < asked.size() || !obeys, "a reply to no request");
        if (at < asked.size()) {
            Require(reply.correlation == asked[at].correlation &&
                        (reply.messageId == messages::ReplyTo(asked[at].messageId) ||
                         reply.messageId == messages::notUnderstood),
                    "a reply to another request");
        }
    }

    void CheckNotification(const FrameHeader& header) const
    {
        const auto covers = [&](unsigned int held) {
            return subscriptions::Covers(held, header.correlation);
        };
        Require(!obeys || std::any_of(subscribed.begin(), subscribed.end(), covers),
                "a notification has no subscription");
    }

    bool& serviceMayEnd;
    std::unique_ptr<RawClient> peer = std::make_unique<RawClient>(SocketPath());
    std::string sent;
    bool obeys = true;               ///< has sent nothing but requests
    bool hasEnded = false;           ///< sends nothing more
    std::vector<FrameHeader> asked;  ///< the requests, until it does not obey
    std::size_t replies = 0;
    std::set<unsigned int> subscribed;
};

void Converse(Choices& choices)
{
    bool mayEnd = false;
    {
        RunningService service;
        std::array<Client, 3> clients{Client(mayEnd), Client(mayEnd), Client(mayEnd)};
        for (int bursts = 0; bursts < 16 && !choices.IsAtEnd() && !mayEnd; ++bursts) {
            clients[choices.Below(3)].Burst(choices);
            Require(service.Settle() || mayEnd, "the service has ended without a request");
            for (Client& client : clients) {
                client.Receive();
                Require(mayEnd || client.AllAnswered(), "a request has no reply");
            }
        }
    }
    ForgetCoverage();  // it differs from run to run until here
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Choices choices(bytes, size);
    try {
        Converse(choices);
    } catch (const std::runtime_error& error) {
        Require(false, error.what());
    }
    return 0;
}
