#include "bench/dbus_calls.h"

#include "bench/local_socket.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <unistd.h>

namespace {

// A message: byte order, type, flags, version, length of the body, serial number, length of the
// header fields, then the fields; everything is aligned to its size, each field to 8 bytes. In the
// byte order of this machine.
constexpr std::size_t fixedPartSize = 16;
constexpr std::size_t bodyLengthAt = 4;
constexpr std::size_t fieldsLengthAt = 12;

enum Field : unsigned char { path = 1, interface = 2, member = 3, destination = 6 };

void Pad(std::vector<unsigned char>& bytes, std::size_t alignment)
{
    bytes.resize((bytes.size() + alignment - 1) / alignment * alignment);
}

void AddU32(std::vector<unsigned char>& bytes, std::uint32_t value)
{
    const std::size_t at = bytes.size();
    bytes.resize(at + sizeof value);
    std::memcpy(&bytes[at], &value, sizeof value);
}

void AddField(std::vector<unsigned char>& bytes, Field field, const std::string& value)
{
    Pad(bytes, 8);
    const unsigned char type = field == path ? 'o' : 's';
    bytes.insert(bytes.end(), {static_cast<unsigned char>(field), 1, type, 0});
    AddU32(bytes, static_cast<std::uint32_t>(value.size()));
    bytes.insert(bytes.end(), value.begin(), value.end());
    bytes.push_back(0);
}

std::vector<unsigned char> CallOf(const std::string& method)
{
    const std::uint32_t one = 1;
    unsigned char isLittle;
    std::memcpy(&isLittle, &one, 1);
    std::vector<unsigned char> bytes = {static_cast<unsigned char>(isLittle ? 'l' : 'B'),
                                        /*call*/ 1, 0, /*version*/ 1};
    AddU32(bytes, 0);
    AddU32(bytes, 1);
    AddU32(bytes, 0);
    AddField(bytes, path, "/org/freedesktop/DBus");
    AddField(bytes, interface, "org.freedesktop.DBus");
    AddField(bytes, member, method);
    AddField(bytes, destination, "org.freedesktop.DBus");
    const std::uint32_t fieldsLength = static_cast<std::uint32_t>(bytes.size() - fixedPartSize);
    std::memcpy(&bytes[fieldsLengthAt], &fieldsLength, sizeof fieldsLength);
    Pad(bytes, 8);
    return bytes;
}

/// What follows the fixed part of a message.
std::size_t RestOf(const std::vector<unsigned char>& fixedPart)
{
    std::uint32_t bodyLength;
    std::uint32_t fieldsLength;
    std::memcpy(&bodyLength, &fixedPart[bodyLengthAt], sizeof bodyLength);
    std::memcpy(&fieldsLength, &fixedPart[fieldsLengthAt], sizeof fieldsLength);
    return (fieldsLength + 7u) / 8 * 8 + bodyLength;
}

}  // namespace

DbusDaemon::DbusDaemon()
    : daemon({"dbus-daemon", "--session", "--nofork", "--nopidfile",
              "--address=unix:path=" + folder / "dbus"}),
      fd(ConnectWhenReady(folder / "dbus")), call(CallOf("GetId"))
{
    Authenticate();
    const std::vector<unsigned char> hello = CallOf("Hello");
    WriteFully(fd.Get(), hello.data(), hello.size());
    // The answer, and the signal that a name was acquired.
    ReadMessage();
    ReadMessage();
}

void DbusDaemon::Authenticate()
{
    std::string user;
    for (const char digit : std::to_string(geteuid())) {
        user += {'3', digit};  // in hex
    }
    const std::string begin = std::string(1, '\0') + "AUTH EXTERNAL " + user + "\r\n";
    WriteFully(fd.Get(), begin.data(), begin.size());
    for (char last = 0; last != '\n';) {
        ReadFully(fd.Get(), &last, 1);
    }
    WriteFully(fd.Get(), "BEGIN\r\n", 7);
}

void DbusDaemon::ReadMessage()
{
    answer.resize(fixedPartSize);
    ReadFully(fd.Get(), answer.data(), fixedPartSize);
    answer.resize(fixedPartSize + RestOf(answer));
    ReadFully(fd.Get(), answer.data() + fixedPartSize, answer.size() - fixedPartSize);
}

void DbusDaemon::Call()
{
    WriteFully(fd.Get(), call.data(), call.size());
    ReadMessage();
}
