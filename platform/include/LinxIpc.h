#pragma once

#include <IpcMessage.h>

#include <string>

namespace platform {
class Endpoint;
}

/// The messaging endpoint of a process: sends messages to named services and receives theirs.
///
/// A service name is a path below the messaging directory, `SubtitleMgr` or `node1/SubtitleMgr`.
/// Connections are made on first use and again after they were lost. The endpoint has no thread of
/// its own: one of the calls that wait reads the socket for all of them.
///
/// Results are 0 or an errno value; ENOMEM from each operation that finds no memory. Every
/// operation may be called on any thread while others are under way, with one exception: Receive()
/// by one thread at a time.
class LinxIpc {
public:
    /// As a sender's name: any sender.
    static const std::string emptyString;

    /// \param name  this endpoint's name in log entries; nothing on disk is made for it
    explicit LinxIpc(const char* name);

    /// Wakes a thread inside Receive(), waits until its callback has returned and closes all
    /// connections; no callback runs afterwards. Does not wait for a callback that calls exit()
    /// itself. In a forked child it does not touch the connections of the parent. A later
    /// Receive(), from a thread that still runs at the end of the process, only sleeps for its
    /// waiting time.
    ~LinxIpc();
    LinxIpc(const LinxIpc&) = delete;
    LinxIpc& operator=(const LinxIpc&) = delete;

    /// Opens the messaging directory, and makes it when missing, with mode 0700 under every umask.
    /// It must belong to the caller, be no symlink, and have the mode 0700; else the log gets the
    /// reason. If another directory that passes the same checks replaces it later, the next attempt
    /// to connect uses that one.
    ///
    /// \return 0 when open, else an errno value, with which requests fail too
    int Init();

    /// Waits for one notification and runs the callback subscribed for it on this thread. An
    /// exception of the callback leaves Receive(), and the endpoint goes on without that
    /// notification; std::bad_alloc becomes ENOMEM.
    ///
    /// \param waitMs   longest wait in milliseconds; 0 looks once, -1 waits without limit
    /// \param id       message number to wait for, 0 for any; others stay queued, in order
    /// \param from     service to receive from, LinxIpc::emptyString for any
    /// \param message  receives a copy of the notification; may be null
    /// \return 0 when a notification was taken; ETIMEDOUT; EBUSY inside a callback; ESHUTDOWN after
    ///         the destructor; ENOMEM, also when the callback has run and only the copy failed
    int Receive(int waitMs, unsigned int id, const std::string& from, IpcMessage* message);

    /// Sends \p request to \p server and waits for the reply; connects first when necessary.
    ///
    /// \param request  a message made by Allocate(); stays the caller's
    /// \param replyId  message number that the reply must have
    /// \param waitMs   longest wait in milliseconds; -1 waits without limit (connecting: 1 second)
    /// \param reply    receives a copy of the reply; may be null, and may be \p request
    /// \return 0 when the reply arrived; ETIMEDOUT, EPROTO (another reply), ECONNRESET (the service
    ///         went away), EINVAL (no usable name or message), or why there is no connection
    int Request(const std::string& server, IpcMessage& request, unsigned int replyId, int waitMs,
                IpcMessage* reply);

    /// Sends \p message to \p server; no reply is awaited.
    ///
    /// \param flag  true waits up to 2 seconds for room in a full socket, false does not. Both wait
    ///              for another call that is sending and has room, and 1 second for a connection
    /// \return 0 when sent; EAGAIN (no room), EINVAL, or why there is no connection
    int Notify(const std::string& server, IpcMessage& message, bool flag);

    /// The notification that Receive() took last: valid inside the callback. Only Receive() changes
    /// it; a request on another thread does not.
    IpcMessage& ReceivedMessage();

private:
    friend class SubscribeClient;

    /// Never freed, because a Receive() after the destructor still uses it.
    platform::Endpoint& endpoint;
};
