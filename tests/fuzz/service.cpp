// The service with three clients that send any frames: each gets exactly what a model says, in
// order.
//
// Input: a byte of faults, then bursts: a client, how many frames, and their choices.

#include "tests/fuzz/choices.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/service_model.h"
#include "tests/fuzz/sockets.h"

#include "simulator/journal.h"
#include "simulator/server.h"

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace platform;
using namespace sim;

namespace {

/// \return false when the service is gone
bool Ping(int fd)
{
    return SendAll(fd, FrameOf(1, reference::ping, 7, "")) && ReceiveExactly(fd, 16);
}

/// One service on a thread of its own, with a connection that only serves to wait for it.
class RunningService {
public:
    explicit RunningService(const Options& options)
        : thread([options, fd = Listening()] { Serve(fd, options); }),
          control(Connect(SocketPath()))
    {
        Require(Ping(control.Get()), "the service does not answer");
    }
    ~RunningService() { thread.join(); }
    RunningService(const RunningService&) = delete;
    RunningService& operator=(const RunningService&) = delete;

    /// Waits until everything that was sent before is handled. Two rounds: events of one look at
    /// the sockets may come in any order. \return false when the service has ended
    bool Settle() { return Ping(control.Get()) && Ping(control.Get()); }

    void Quit() { SendAll(control.Get(), FrameOf(4, reference::quit, 0, "")); }

    static const std::string& SocketPath()
    {
        static const std::string path = ScratchFolder() + "/service";
        return path;
    }

private:
    /// One socket for all of them.
    static int Listening()
    {
        static const Descriptor listening = ListenAt(SocketPath());
        return listening.Get();
    }

    static void Serve(int listening, const Options& options)
    {
        const Scenario nothingToPlay;
        Journal journal;
        std::string problem;
        Require(options.journal.empty() || journal.Open(options.journal, problem),
                "the journal cannot be opened");
        Server server(listening, options, nothingToPlay, journal);
        Require(server.Open(problem), "the service cannot start");
        server.Run();
    }

    std::thread thread;
    const Descriptor control;
};

/// A client of the service: what it gets, until it goes.
struct Client {
    Descriptor socket;
    std::string received;
    bool isWatched = true;
};

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
                   choices.OnceIn(16) ? ChooseClaim(choices, payload)
                                      : static_cast<unsigned int>(payload.size()));
}

class Conversation {
public:
    explicit Conversation(Choices& bytes) : choices(bytes) {}

    void Run();

    /// The same once more with the model alone, which runs the same code each time.
    void RunModelAlone() const;

private:
    /// Bytes of a client; none at the end of its input.
    struct Said {
        std::size_t client;
        std::optional<std::string> bytes;
    };

    static void Tell(ServiceModel& listener, const Said& said);
    void Say(std::size_t client, std::optional<std::string> bytes);
    void Receive();
    void Burst();
    void Check(std::size_t index);

    Choices& choices;
    std::vector<Said> all;
    ServiceModel fresh;
    ServiceModel model;
    bool makesGarbage = false;
    std::array<Client, ServiceModel::clients> clients;
};

void Conversation::Run()
{
    const unsigned int config = choices.Byte();
    Options options;
    options.quiet = (config & 1) != 0;
    fresh.refusesSubscriptions = options.faults.refuseSubscribe = config % 16 == 2;
    fresh.refusesRefresh = options.faults.refuseRefresh = config % 16 == 4;
    fresh.refusesSensors = options.faults.refuseSensor = config % 16 == 6;
    makesGarbage = options.faults.garbage = config % 16 == 8;
    options.journal = config % 16 == 10 ? "/dev/null" : "";
    model = fresh;
    {
        RunningService service(options);
        for (Client& client : clients) {
            client.socket = Connect(RunningService::SocketPath());
            Require(Ping(client.socket.Get()), "a client is not let in");
        }
        for (int bursts = 0; bursts < 16 && !choices.IsAtEnd() && !model.HasQuit(); ++bursts) {
            Burst();
            Require(service.Settle() || model.HasQuit(), "the service has ended, unasked");
            Receive();
        }
        if (!model.HasQuit()) {
            service.Quit();
        }
    }
    for (std::size_t index = 0; index < clients.size(); ++index) {
        clients[index].received += ReceiveAll(clients[index].socket.Get());
        Check(index);
    }
}

void Conversation::RunModelAlone() const
{
    ServiceModel alone = fresh;
    for (const Said& said : all) {
        Tell(alone, said);
    }
}

void Conversation::Tell(ServiceModel& listener, const Said& said)
{
    if (said.bytes) {
        listener.Take(said.client, *said.bytes);
    } else {
        listener.EndInput(said.client);
    }
}

void Conversation::Say(std::size_t client, std::optional<std::string> bytes)
{
    all.push_back({client, std::move(bytes)});
    Tell(model, all.back());
}

/// Takes what has come, and looks whether those who are not heard any more have lost their
/// connection.
void Conversation::Receive()
{
    for (std::size_t index = 0; index < clients.size(); ++index) {
        Client& client = clients[index];
        if (client.isWatched) {
            client.received += ReceiveAll(client.socket.Get());
            Require(model.HasQuit() || HasEnded(client.socket.Get()) != model.Listens(index),
                    "a connection is closed, or is not");
        }
    }
}

void Conversation::Burst()
{
    const std::size_t index = choices.Below(ServiceModel::clients);
    Client& client = clients[index];
    if (!client.isWatched) {
        return;
    }
    const unsigned int action = choices.Byte();
    if (action >= 252) {
        EndSending(client.socket.Get());
        Say(index, std::nullopt);
        return;
    }
    if (action >= 248) {
        client.socket = Descriptor();
        Say(index, std::nullopt);
        client.isWatched = false;
        return;
    }
    std::string bytes;
    for (unsigned int frames = 0; frames <= action % 4; ++frames) {
        bytes += ChooseFrame(choices);
    }
    // To one that is not heard any more it may fail.
    SendAll(client.socket.Get(), bytes);
    Say(index, std::move(bytes));
}

void Conversation::Check(std::size_t index)
{
    if (!clients[index].isWatched) {
        return;
    }
    std::vector<ReferenceFrame> frames;
    std::size_t garbage = 0;
    std::size_t notifications = 0;
    ReferenceFrame frame;
    while (TakeFrame(clients[index].received, frame) == StreamEnd::Complete) {
        if (frame.kind == 3 && !ReferenceIsWellFormed(frame.messageId, frame.payload)) {
            ++garbage;
            continue;
        }
        notifications += frame.kind == 3 ? 1 : 0;
        frames.push_back(frame);
    }
    Require(clients[index].received.empty(), "the service sent what is no frame");
    Require(garbage == (makesGarbage ? notifications : 0),
            "not one malformed before each good one");
    Require(frames == model.SentTo(index), "the service sent other frames");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Choices choices(bytes, size);
    Conversation conversation(choices);
    conversation.Run();
    ForgetCoverage();
    conversation.RunModelAlone();
    return 0;
}
