#pragma once

#include <descriptor.h>

#include <cstddef>
#include <string>

// Blocking AF_UNIX stream sockets, as plain as they can be. All throw when something fails.

Descriptor ListenAt(const std::string& path);
Descriptor ConnectTo(const std::string& path);

/// Writes or reads exactly \p size bytes. \return false when the other end has gone
bool WriteFully(int fd, const void* bytes, std::size_t size);
bool ReadFully(int fd, void* bytes, std::size_t size);
