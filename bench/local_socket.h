#pragma once

#include "platform/src/descriptor.h"

#include <cstddef>
#include <string>

using namespace platform;

// Blocking AF_UNIX stream sockets, as plain as they can be. All throw when something fails, also
// when the other end has gone.

Descriptor ListenAt(const std::string& path);
Descriptor ConnectTo(const std::string& path);

/// Connects to a service that is just starting.
Descriptor ConnectWhenReady(const std::string& path);

struct Ends {
    Descriptor ours;
    Descriptor theirs;
};
Ends ConnectedEnds();

void WriteFully(int fd, const void* bytes, std::size_t size);
void ReadFully(int fd, void* bytes, std::size_t size);
