#pragma once

#include <cstring>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>

/// The address of the socket at \p path.
inline sockaddr_un AddressOf(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw std::runtime_error("too long for a socket address: " + path);
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

/// \return whether it succeeded; else errno is set
inline bool ConnectSocket(int fd, const std::string& path)
{
    const sockaddr_un address = AddressOf(path);
    return connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

/// \return whether it succeeded; else errno is set
inline bool BindSocket(int fd, const std::string& path)
{
    const sockaddr_un address = AddressOf(path);
    return bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}
