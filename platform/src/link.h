#pragma once

#include "platform/src/reader.h"
#include "platform/src/sender.h"

#include <cerrno>
#include <string>
#include <sys/socket.h>
#include <utility>

namespace platform {

/// One socket to a service, from its making to its loss. The next one is another object, so a call
/// that still uses this one disturbs nothing there. The last such call closes the socket.
struct Link {
    Link(EndpointState& endpointState, const std::string& service, ReplyTable& awaitedReplies,
         Descriptor&& connected)
        : state(endpointState), replies(awaitedReplies), socket(std::move(connected)),
          reader(*this, service), sender(*this)
    {
    }

    /// Ends the connection: each call that waits for a reply gets ECONNRESET.
    void Lose()
    {
        if (isOpen) {
            isOpen = false;
            Shutdown();
            replies.FailAll(ECONNRESET);
            state.changed.notify_all();
        }
    }

    /// Wakes a call that reads or sends.
    void Shutdown() { shutdown(socket.Get(), SHUT_RDWR); }

    EndpointState& state;
    ReplyTable& replies;
    const Descriptor socket;
    bool isOpen = true;
    Reader reader;
    Sender sender;
};

}  // namespace platform
