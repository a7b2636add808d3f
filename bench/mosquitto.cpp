#include "bench/mosquitto.h"

#include "bench/local_socket.h"

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>

namespace {

/// Enough to hide the switches between publisher, broker and reader, and few enough to stay in
/// cache.
constexpr unsigned int messagesAtOnce = 8;
constexpr int answerLimitMs = 10000;

/// A PUBLISH packet at most once: type, length in digits of 7 bits, topic, payload.
std::vector<unsigned char> PublishPacket(std::size_t payloadSize)
{
    std::vector<unsigned char> packet = {0x30};
    std::size_t length = 3 + payloadSize;
    for (; length > 127; length /= 128) {
        packet.push_back(static_cast<unsigned char>(length % 128 + 128));
    }
    packet.push_back(static_cast<unsigned char>(length));
    packet.insert(packet.end(), {0, 1, 'c'});
    packet.insert(packet.end(), payloadSize, 'A');
    return packet;
}

}  // namespace

MosquittoMessages::MosquittoMessages(std::size_t payloadSize, const std::string& format)
    : published(PublishPacket(payloadSize)), broker({"mosquitto", "-c", Configuration()}),
      publisher(ConnectWhenReady(folder / "mqtt"))
{
    Connect();
    int fds[2];
    Checked(pipe2(fds, O_CLOEXEC), "pipe");
    printed = Descriptor(fds[0]);
    const Descriptor output(fds[1]);
    subscriber.emplace(std::vector<std::string>{"mosquitto_sub", "--unix", folder / "mqtt", "-t",
                                                "c", "-F", format},
                       -1, output.Get());
    AwaitSubscription();
}

std::string MosquittoMessages::Configuration() const
{
    // Without the user line a broker started by root could not enter the folder.
    std::ofstream(folder / "mosquitto.conf") << "listener 0 " << folder / "mqtt"
                                             << "\nallow_anonymous true\npersistence false\n"
                                                "log_type none\nuser root\n";
    return folder / "mosquitto.conf";
}

void MosquittoMessages::Connect()
{
    // Protocol 4 ("MQTT" 3.1.1), clean session, no keep-alive, client "p".
    const unsigned char connect[] = {0x10, 13, 0, 4, 'M', 'Q', 'T', 'T', 4, 0x02, 0, 0, 0, 1, 'p'};
    WriteFully(publisher.Get(), connect, sizeof connect);
    unsigned char accepted[4];
    ReadFully(publisher.Get(), accepted, sizeof accepted);
}

/// Only the first message that arrives shows that the subscription is active.
void MosquittoMessages::AwaitSubscription()
{
    constexpr int stepMs = 50;
    for (int waitedMs = 0; waitedMs < answerLimitMs; waitedMs += stepMs) {
        Publish();
        if (ReadWithin(stepMs) > 0) {
            while (ReadWithin(stepMs) > 0) {
            }
            return;
        }
    }
    throw std::runtime_error("mosquitto_sub prints nothing");
}

void MosquittoMessages::Publish()
{
    WriteFully(publisher.Get(), published.data(), published.size());
}

std::size_t MosquittoMessages::ReadWithin(int waitMs)
{
    pollfd entry{printed.Get(), POLLIN, 0};
    const ssize_t size = poll(&entry, 1, waitMs) == 1 ? read(printed.Get(), text, sizeof text) : 0;
    return static_cast<std::size_t>(std::max<ssize_t>(size, 0));
}

double MosquittoMessages::Receive()
{
    for (unsigned int i = 0; i < messagesAtOnce; ++i) {
        Publish();
    }
    for (std::ptrdiff_t lines = 0; lines < messagesAtOnce;) {
        const std::size_t size = ReadWithin(answerLimitMs);
        if (size == 0) {
            throw std::runtime_error("a message was lost by mosquitto");
        }
        lines += std::count(text, text + size, '\n');
    }
    return messagesAtOnce;
}
