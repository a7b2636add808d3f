#pragma once

#include "bench/process.h"

#include "platform/src/descriptor.h"

#include <array>
#include <cstddef>
#include <vector>

using namespace platform;

// The baseline of all comparisons: a blocking AF_UNIX stream between two processes.

/// Sends 16 bytes back and forth.
class RawPingPong {
public:
    RawPingPong();
    void RoundTrip();

private:
    Descriptor fd;
    Process echo;
};

/// Sends 16 bytes back and forth on connections of their own.
class RawConnections {
public:
    static constexpr unsigned int count = 32;

    explicit RawConnections(const std::string& socketPath);

    void RequestOnEach();
    void Close();

private:
    void RequestOnNewOne();

    std::string path;
    Descriptor listening;
    Process service;
    std::vector<Descriptor> connections;
};

/// Reads messages of 16 bytes and a payload, each sent by one sendmsg() as fast as it goes, into
/// one buffer of 64 KiB.
class RawMessages {
public:
    explicit RawMessages(std::size_t payloadSize);

    /// Reads once. \return how many messages' worth of bytes came
    double Receive();

private:
    Descriptor fd;
    double messageSize;
    std::vector<unsigned char> buffer;
    Process sender;
};

constexpr std::size_t rawHeaderSize = 16;
