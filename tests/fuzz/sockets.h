#pragma once

#include "platform/src/descriptor.h"

#include <cstddef>
#include <string>

using namespace platform;

// The test's side of a socket. A wait of 10 seconds is an error: the other side hangs.

/// A listening socket that does not block.
Descriptor ListenAt(const std::string& path);

Descriptor Connect(const std::string& path);

/// \return false if the other side has closed
bool SendAll(int fd, const std::string& bytes);

/// Receives and drops \p size bytes. \return false if the other side has closed
bool ReceiveExactly(int fd, std::size_t size);

/// Returns the available bytes; none from a closed or missing socket.
std::string ReceiveAll(int fd);

/// Whether the other side has closed the socket and all bytes are received.
bool HasEnded(int fd);

void EndSending(int fd);
