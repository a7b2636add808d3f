#pragma once

#include "platform/src/descriptor.h"
#include "platform/src/wire_format.h"

#include <initializer_list>
#include <memory>
#include <string>

using namespace platform;

/// One received frame.
struct RawFrame {
    FrameHeader header;
    std::string payload;
};

/// \p value as 4 bytes in wire order.
std::string U32(unsigned int value);

/// \p bytes as a string: Bytes({0x3, 0xff}).
std::string Bytes(std::initializer_list<unsigned int> bytes);

/// One frame with the correct length.
std::string FrameBytes(FrameKind kind, unsigned int messageId, unsigned int correlation,
                       const std::string& payload);

/// A connection on which a test sends any bytes, well-formed or not. Every wait has a deadline and
/// throws std::runtime_error when it passes or when the peer has closed.
class RawConnection {
public:
    explicit RawConnection(Descriptor connected);

    void Send(const std::string& bytes);
    void SendFrame(FrameKind kind, unsigned int messageId, unsigned int correlation,
                   const std::string& payload = "");

    /// Waits for the header of the next frame; ReceiveFrame() still returns the whole frame.
    FrameHeader ReceiveHeader();

    RawFrame ReceiveFrame();

    /// Receives a line of text, without its end.
    std::string ReceiveLine();

    /// Whether anything has arrived that was not taken yet.
    bool HasInput() const;

    /// Whether the peer has closed the connection and everything was taken.
    bool HasEnded() const;

    /// Receives the next frame, which must be a request with this number.
    RawFrame ExpectRequest(unsigned int messageId);

    /// Answers \p request with its reply number and \p payload.
    void Reply(const RawFrame& request, const std::string& payload = "");

    /// Receives a subscription and accepts it. \return the number of the subscription
    unsigned int AcceptSubscription();

    /// Waits until the peer has closed the connection; drops frames that arrive before.
    void ExpectClosed();

    /// Waits until the peer has closed the connection, and reads nothing.
    void ExpectHangUp();

    /// The socket, for calls that this class does not have.
    int Fd() const { return fd.Get(); }

    void Close();

    /// Ends the sending direction; receiving still works.
    void EndSending();

private:
    bool ReceiveMore();
    void ReceiveAtLeast(std::size_t size);

    Descriptor fd;
    std::string received;
};

/// A client that connects to the socket at \p path.
class RawClient : public RawConnection {
public:
    explicit RawClient(const std::string& path);
};

/// A service that only listens at \p path, a socket below a messaging directory. The test accepts,
/// reads and answers. The destructor removes the socket.
class RawService {
public:
    /// \param waiting  backlog of listen(): one more client than this can wait for Accept()
    explicit RawService(const std::string& path, int waiting = 8);
    ~RawService();
    RawService(const RawService&) = delete;
    RawService& operator=(const RawService&) = delete;

    std::unique_ptr<RawConnection> Accept();

    /// Whether a client waits for Accept().
    bool HasClient() const;

private:
    std::string path;
    Descriptor listener;
};
