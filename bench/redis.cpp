#include "bench/redis.h"

#include "bench/local_socket.h"

namespace {

constexpr char ping[] = "*1\r\n$4\r\nPING\r\n";
constexpr char pong[] = "+PONG\r\n";
constexpr char subscribe[] = "*2\r\n$9\r\nSUBSCRIBE\r\n$1\r\nc\r\n";
constexpr char subscribed[] = "*3\r\n$9\r\nsubscribe\r\n$1\r\nc\r\n:1\r\n";
constexpr char publishedToOne[] = ":1\r\n";

/// Enough to hide the switches between publisher, server and reader, and few enough to stay in
/// cache.
constexpr unsigned int messagesAtOnce = 8;

template <std::size_t size>
constexpr std::size_t TextLength(const char (&)[size])
{
    return size - 1;
}

std::vector<unsigned char> Framed(const std::string& before, std::size_t payloadSize)
{
    const std::string text =
        before + std::to_string(payloadSize) + "\r\n" + std::string(payloadSize, '\1') + "\r\n";
    return {text.begin(), text.end()};
}

}  // namespace

Redis::Redis()
    : server({"redis-server", "--port", "0", "--unixsocket", SocketPath(), "--save", "",
              "--appendonly", "no"}),
      fd(ConnectWhenReady(SocketPath()))
{
}

void Redis::Ping()
{
    char answer[TextLength(pong)];
    WriteFully(fd.Get(), ping, TextLength(ping));
    ReadFully(fd.Get(), answer, sizeof answer);
}

RedisMessages::RedisMessages(const Redis& redis, std::size_t payloadSize)
    : published(Framed("*3\r\n$7\r\nPUBLISH\r\n$1\r\nc\r\n$", payloadSize)),
      received(Framed("*3\r\n$7\r\nmessage\r\n$1\r\nc\r\n$", payloadSize)),
      answers(messagesAtOnce * TextLength(publishedToOne)),
      publisher(ConnectTo(redis.SocketPath())), subscriber(ConnectTo(redis.SocketPath()))
{
    char answer[TextLength(subscribed)];
    WriteFully(subscriber.Get(), subscribe, TextLength(subscribe));
    ReadFully(subscriber.Get(), answer, sizeof answer);
}

double RedisMessages::Receive()
{
    for (unsigned int i = 0; i < messagesAtOnce; ++i) {
        WriteFully(publisher.Get(), published.data(), published.size());
    }
    for (unsigned int i = 0; i < messagesAtOnce; ++i) {
        ReadFully(subscriber.Get(), received.data(), received.size());
    }
    ReadFully(publisher.Get(), answers.data(), answers.size());
    return messagesAtOnce;
}
