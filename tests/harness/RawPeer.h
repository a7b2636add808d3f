#pragma once

#include "platform/src/descriptor.h"
#include "platform/src/wire_format.h"

#include <initializer_list>
#include <memory>
#include <string>

using namespace platform;

/// One frame as it came in.
struct RawFrame {
    FrameHeader header;
    std::string payload;
};

/// \p value as the 4 bytes that go over the wire.
std::string U32(unsigned int value);

/// \p bytes as a text: Bytes({0x3, 0xff}).
std::string Bytes(std::initializer_list<unsigned int> bytes);

/// One frame with a right length.
std::string FrameBytes(FrameKind kind, unsigned int messageId, unsigned int correlation,
                       const std::string& payload);

/// A connection on which a test says any bytes, well-formed or not. Every wait has a deadline and
/// throws std::runtime_error when it passes or when the peer is gone.
class RawConnection {
public:
    explicit RawConnection(Descriptor connected);

    void Send(const std::string& bytes);
    void SendFrame(FrameKind kind, unsigned int messageId, unsigned int correlation,
                   const std::string& payload = "");

    /// Waits for the header of the next frame, which stays to be received.
    FrameHeader ReceiveHeader();

    RawFrame ReceiveFrame();

    /// Takes \p count bytes of whatever comes, and drops them.
    void TakeBytes(std::size_t count);

    /// Receives the next frame, which must be a request with this number.
    RawFrame ExpectRequest(unsigned int messageId);

    /// Answers \p request with its reply number and \p payload.
    void Reply(const RawFrame& request, const std::string& payload = "");

    /// Receives a subscription and accepts it. \return the number of the subscription
    unsigned int AcceptSubscription();

    /// Waits until the peer has closed the connection; frames that still come are dropped.
    void ExpectClosed();

    void Close();

    /// Says that nothing more will be sent; receiving goes on.
    void EndSending();

private:
    bool ReceiveMore();

    Descriptor fd;
    std::string received;
};

/// A client that connects to the socket at \p path.
class RawClient : public RawConnection {
public:
    explicit RawClient(const std::string& path);
};

/// A service that listens at \p path, a socket below a messaging directory, and leaves everything
/// else to the test. The destructor removes the socket.
class RawService {
public:
    /// \param waiting  clients that may wait to be accepted, and one more
    explicit RawService(const std::string& path, int waiting = 8);
    ~RawService();
    RawService(const RawService&) = delete;
    RawService& operator=(const RawService&) = delete;

    std::unique_ptr<RawConnection> Accept();

    /// Whether a client has connected that was not accepted yet.
    bool HasClient() const;

private:
    std::string path;
    Descriptor listener;
};
