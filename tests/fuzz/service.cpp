// Three clients that send any frames to the service. The service answers each request once, in
// order. All notifications are well-formed and belong to a subscription of their client. The
// service closes a connection if and only if its client ends or breaks the protocol.
//
// Input: a byte of faults, then bursts: a client, the number of frames, and their choices.

#include "tests/fuzz/choices.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/reference_frames.h"
#include "tests/fuzz/sockets.h"

#include "simulator/journal/logs.h"
#include "simulator/server.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <thread>
#include <vector>

using namespace platform;
using namespace sim;

namespace {

/// \return false if the service has ended
bool Ping(int fd)
{
    return SendAll(fd, FrameOf(1, reference::ping, 7, "")) && ReceiveExactly(fd, 16);
}

/// A service on a thread of its own, with one connection that only waits for it.
class RunningService {
public:
    explicit RunningService(const Options& options)
        : thread([options, &listener = TheListener()] { Serve(listener, options); }),
          control(Connect(SocketPath()))
    {
        Require(Ping(control.Get()), "the service does not answer");
    }
    ~RunningService() { thread.join(); }
    RunningService(const RunningService&) = delete;
    RunningService& operator=(const RunningService&) = delete;

    /// Waits until the service has handled everything that was sent before. Needs two pings,
    /// because events of one turn have any order. \return false if the service has ended
    bool Settle() { return Ping(control.Get()) && Ping(control.Get()); }

    void Quit() { SendAll(control.Get(), FrameOf(4, reference::quit, 0, "")); }

    static const std::string& SocketPath()
    {
        static const std::string path = ScratchFolder() + "/service";
        return path;
    }

private:
    /// All services use the same socket.
    static Listener& TheListener()
    {
        static Listener listener;
        static const bool isOpen = [] {
            setenv("LINX_DIR", ScratchFolder().c_str(), 1);
            std::string problem;
            return listener.Open("service", problem);
        }();
        Require(isOpen, "the socket cannot be made");
        return listener;
    }

    static void Serve(Listener& listener, const Options& options)
    {
        Logs logs{"SubtitleMgr"};
        std::string problem;
        Require(options.journal.empty() || (logs.journal.Open(options.journal, problem) &&
                                            logs.recorder.Start(options.journal, problem)),
                "the journal cannot be opened");
        Server server(listener, options, logs);
        Require(server.Open(problem), "the service cannot start");
        for (const FaultSpec& fault : options.faults) {
            server.Cause(fault);
        }
        server.Run();
    }

    std::thread thread;
    const Descriptor control;
};

/// The expected reactions of the service to a client's bytes.
struct Expectation {
    std::vector<ReferenceFrame> replies;  ///< without payloads
    std::set<unsigned int> subscriptions;
    bool staysConnected = true;
    bool hasQuit = false;
};

bool IsRequest(unsigned int messageId)
{
    using namespace reference;
    return messageId == ping ||
           (messageId >= subscribe && messageId <= setLogLevel && messageId % 2 == 0);
}

void Expect(const ReferenceFrame& frame, Expectation& expected)
{
    using namespace reference;
    if (frame.kind == 4) {
        expected.hasQuit = frame.messageId == quit && frame.payload.empty();
        return;
    }
    if (frame.kind != 1) {
        expected.staysConnected = false;
        return;
    }
    const bool isUnderstood =
        IsRequest(frame.messageId) && ReferenceIsWellFormed(frame.messageId, frame.payload);
    const unsigned int reply = isUnderstood ? frame.messageId + 1 : notUnderstood;
    expected.replies.push_back({2, reply, frame.correlation, ""});
    if (isUnderstood && frame.messageId == subscribe) {
        expected.subscriptions.insert(FromBigEndian(frame.payload, 0));
    }
}

Expectation ExpectedFor(std::string sent)
{
    Expectation expected;
    ReferenceFrame frame;
    while (expected.staysConnected && !expected.hasQuit) {
        const StreamEnd end = TakeFrame(sent, frame);
        if (end == StreamEnd::Complete) {
            Expect(frame, expected);
            continue;
        }
        expected.staysConnected = end == StreamEnd::Cut;
        break;
    }
    return expected;
}

void CheckNotification(const ReferenceFrame& frame, const Expectation& expected)
{
    using namespace reference;
    static const std::map<unsigned int, unsigned int> items{
        {2, regionData},  {3, regionData}, {4, regionData},
        {12, regionData}, {6, visibility}, {10, palette},
    };
    const auto item = items.find(frame.correlation);
    Require(item != items.end() && item->second == frame.messageId, "a wrong item");
    Require(expected.subscriptions.count(frame.correlation) != 0 ||
                (item->second == regionData && expected.subscriptions.count(1) != 0),
            "a notification has no subscription");
}

struct Client {
    Descriptor socket;
    std::string sent;
    std::string received;
    bool hasEnded = false;  ///< sends nothing more
};

/// The service numbers the clients after the connection that only waits for it.
const std::string firstOfThree = "client=2";

Options ChooseOptions(Choices& choices)
{
    const unsigned int config = choices.Byte();
    Options options;
    options.quiet = (config & 1) != 0;
    static const std::map<unsigned int, std::vector<std::string>> faults{
        {2, {"refuse-subscribe"}},
        {4, {"refuse-refresh"}},
        {6, {"refuse-sensor"}},
        {8, {"garbage"}},
        {12, {"mute", "request=Subscribe", firstOfThree}},
        {14, {"wrong-reply", firstOfThree}},
    };
    if (const auto fault = faults.find(config % 16); fault != faults.end()) {
        std::string problem;
        Require(ParseFault(fault->second, options.faults.emplace_back(), problem), problem.c_str());
    }
    options.journal = config % 16 == 10 ? "/dev/null" : "";
    return options;
}

unsigned int ChooseMessage(Choices& choices)
{
    using namespace reference;
    constexpr unsigned int requests[] = {subscribe, setRegionData, setVisibility, setPalette,
                                         subscribe, unsubscribe,   invert,        refresh,
                                         sensor,    getLogLevel,   setLogLevel,   ping};
    return choices.OnceIn(24) ? 15104 + choices.U32() % 512 : requests[choices.Below(12)];
}

std::string ChooseFrame(Choices& choices)
{
    if (choices.OnceIn(64)) {
        return choices.Bytes(choices.Byte());
    }
    if (choices.OnceIn(128)) {
        return FrameOf(4, reference::quit, 0, "");
    }
    const unsigned int kind = choices.OnceIn(32) ? choices.Below(6) : 1;
    const unsigned int messageId = ChooseMessage(choices);
    const std::string payload = ChoosePayload(choices, messageId);
    const unsigned int correlation = choices.Byte();
    return FrameOf(kind, messageId, correlation, payload,
                   choices.OnceIn(16) ? ChooseClaim(choices, payload) : payload.size());
}

class Conversation {
public:
    explicit Conversation(Choices& bytes) : choices(bytes), options(ChooseOptions(bytes)) {}

    void Run();

private:
    bool HasQuit() const;
    void Burst();
    void Receive();
    void Check(Client& client);
    bool Causes(const char* fault) const
    {
        return !options.faults.empty() && options.faults.front().words == fault;
    }

    Choices& choices;
    const Options options;
    std::array<Client, 3> clients;
};

void Conversation::Run()
{
    {
        RunningService service(options);
        for (Client& client : clients) {
            client.socket = Connect(RunningService::SocketPath());
            Require(Ping(client.socket.Get()), "the service does not accept a client");
        }
        for (int bursts = 0; bursts < 16 && !choices.IsAtEnd() && !HasQuit(); ++bursts) {
            Burst();
            Require(service.Settle() || HasQuit(), "the service has ended without a request");
            Receive();
        }
        if (!HasQuit()) {
            service.Quit();
        }
    }
    // From here on the coverage is the same in each run.
    ForgetCoverage();
    for (Client& client : clients) {
        if (client.socket) {
            client.received += ReceiveAll(client.socket.Get());
            Check(client);
        }
    }
}

bool Conversation::HasQuit() const
{
    return std::any_of(clients.begin(), clients.end(),
                       [](const Client& client) { return ExpectedFor(client.sent).hasQuit; });
}

void Conversation::Burst()
{
    Client& client = clients[choices.Below(3)];
    if (!client.socket) {
        return;
    }
    const unsigned int action = choices.Byte();
    if (action >= 252) {
        EndSending(client.socket.Get());
        client.hasEnded = true;
    } else if (action >= 248) {
        client.socket = Descriptor();
    } else {
        std::string bytes;
        for (unsigned int frames = 0; frames <= action % 4; ++frames) {
            bytes += ChooseFrame(choices);
        }
        SendAll(client.socket.Get(), bytes);  // fails on a closed connection
        client.sent += client.hasEnded ? "" : bytes;
    }
}

void Conversation::Receive()
{
    for (Client& client : clients) {
        if (client.socket) {
            client.received += ReceiveAll(client.socket.Get());
            const bool staysConnected = !client.hasEnded && ExpectedFor(client.sent).staysConnected;
            Require(HasQuit() || HasEnded(client.socket.Get()) != staysConnected,
                    "a connection is wrongly open or closed");
        }
    }
}

void Conversation::Check(Client& client)
{
    Expectation expected = ExpectedFor(client.sent);
    const bool isFirst = &client == clients.data();
    const bool isWrong = isFirst && Causes("wrong-reply client=2");
    if (isFirst && Causes("mute request=Subscribe client=2")) {
        const auto isToASubscription = [](const ReferenceFrame& reply) {
            return reply.messageId == reference::subscribe + 1;
        };
        expected.replies.erase(
            std::remove_if(expected.replies.begin(), expected.replies.end(), isToASubscription),
            expected.replies.end());
        expected.subscriptions.clear();
    }
    for (ReferenceFrame& reply : expected.replies) {
        reply.messageId += isWrong ? 2 : 0;
    }
    std::vector<ReferenceFrame> replies;
    std::size_t notifications = 0;
    std::size_t garbage = 0;
    ReferenceFrame frame;
    while (TakeFrame(client.received, frame) == StreamEnd::Complete) {
        const bool isWellFormed = ReferenceIsWellFormed(frame.messageId, frame.payload);
        if (frame.kind == 2) {
            Require(isWellFormed || isWrong, "a malformed reply");
            replies.push_back({2, frame.messageId, frame.correlation, ""});
        } else if (isWellFormed) {
            CheckNotification(frame, expected);
            ++notifications;
        } else {
            ++garbage;
        }
    }
    Require(client.received.empty(), "the service sent bytes that are not a frame");
    Require(garbage == (Causes("garbage") ? notifications : 0),
            "not exactly one malformed record precedes each well-formed one");
    Require(notifications == 0 || !Causes("refuse-subscribe"),
            "a notification belongs to a refused subscription");
    Require(replies == expected.replies, "the service sent other replies");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Choices choices(bytes, size);
    Conversation(choices).Run();
    return 0;
}
