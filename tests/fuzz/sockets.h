#pragma once

#include "platform/src/descriptor.h"

#include <cstddef>
#include <string>

using namespace platform;

// The tests' side of a socket. A wait of 10 seconds counts as found: something hangs.

/// A listening socket that does not block.
Descriptor ListenAt(const std::string& path);

Descriptor Connect(const std::string& path);

/// \return false when the other side is gone
bool SendAll(int fd, const std::string& bytes);

/// Receives and forgets \p size bytes. \return false when the other side is gone
bool ReceiveExactly(int fd, std::size_t size);

/// What is there already; nothing from a closed or missing socket.
std::string ReceiveAll(int fd);

/// Whether the other side has closed it and everything is received.
bool HasEnded(int fd);

void EndSending(int fd);
