#pragma once

#include "platform/src/descriptor.h"

#include <cstddef>
#include <string>

using namespace platform;

// Plain blocking AF_UNIX stream sockets. All functions throw on failure, also when the other end is
// closed.

Descriptor ListenAt(const std::string& path);
Descriptor ConnectTo(const std::string& path);

/// Connects to a service that may still be starting.
Descriptor ConnectWhenReady(const std::string& path);

struct Ends {
    Descriptor ours;
    Descriptor theirs;
};
Ends ConnectedEnds();

void WriteFully(int fd, const void* bytes, std::size_t size);
void ReadFully(int fd, void* bytes, std::size_t size);
