#pragma once

#include <memory>

namespace platform {
class Connection;
class Endpoint;
}  // namespace platform

/// One message: a number that says what it is, and payload bytes.
///
/// A message either owns its bytes, after Allocate(), or shows bytes that the endpoint received,
/// see LinxIpc::ReceivedMessage(). Only one thread at a time may use it.
class IpcMessage {
public:
    /// Largest payload of a message, 16 MiB: far above any bitmap or palette, and small enough
    /// that a wrong length can do no harm.
    static constexpr unsigned int maxLength = 16u * 1024u * 1024u;

    IpcMessage();
    virtual ~IpcMessage();
    IpcMessage(const IpcMessage&) = delete;
    IpcMessage& operator=(const IpcMessage&) = delete;

    /// Makes this a message with the number \p id and a payload of \p length bytes of its own.
    ///
    /// \param data  the payload, copied; null leaves the payload to be filled through Payload()
    /// \return 0 when the message is ready; EMSGSIZE above maxLength, ENOMEM
    int Allocate(unsigned int id, unsigned int length, char* data);

    /// First payload byte; null in a message that was never allocated or received.
    virtual unsigned char* Payload();

private:
    friend class platform::Connection;
    friend class platform::Endpoint;

    /// Shows \p length bytes that belong to the endpoint; it decides how long they are valid.
    void Show(unsigned int id, unsigned char* bytes, unsigned int length);

    /// Room for the frame header, then the payload: one call sends both without a copy. Null while
    /// this shows bytes of the endpoint.
    std::unique_ptr<unsigned char[]> frame;
    unsigned int capacity = 0;  ///< payload bytes that `frame` has room for
    unsigned int messageId = 0;
    unsigned int payloadLength = 0;
    unsigned char* payload = nullptr;
};
