#pragma once

#include "bench/messaging_folder.h"
#include "bench/process.h"

#include "platform/src/descriptor.h"

#include <string>
#include <vector>

using namespace platform;

/// A redis-server on a Unix socket, which keeps nothing on disk, and a bare client of it.
class Redis {
public:
    static bool IsInstalled() { return ::IsInstalled("redis-server"); }

    Redis();

    std::string SocketPath() const { return folder / "redis"; }

    /// Sends PING and reads the answer.
    void Ping();

private:
    MessagingFolder folder;
    Process server;
    Descriptor fd;
};

/// Messages of \p payloadSize bytes through a channel of a Redis server. This process publishes and
/// reads them, which saves redis a switch to another process.
class RedisMessages {
public:
    RedisMessages(const Redis& redis, std::size_t payloadSize);

    /// Publishes some messages and reads all of them. \return how many
    double Receive();

private:
    std::vector<unsigned char> published;
    std::vector<unsigned char> received;
    std::vector<unsigned char> answers;
    Descriptor publisher;
    Descriptor subscriber;
};
