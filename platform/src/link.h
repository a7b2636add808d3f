#pragma once

#include "platform/src/reader.h"
#include "platform/src/reply_table.h"
#include "platform/src/sender.h"

#include <string>
#include <sys/socket.h>
#include <utility>

namespace platform {

/// One socket to a service, from its creation to its loss. The next socket is another object, so a
/// call that still uses this one does not disturb it. The last such call closes the socket.
struct Link {
    Link(EndpointState& endpointState, const std::string& serviceName, Descriptor&& connected)
        : state(endpointState), service(serviceName), socket(std::move(connected))
    {
    }

    /// Ends the link: wakes all calls; those that wait for a reply get ECONNRESET.
    void Lose()
    {
        if (isOpen) {
            isOpen = false;
            shutdown(socket.Get(), SHUT_RDWR);
            state.changed.notify_all();
        }
    }

    EndpointState& state;
    const std::string& service;
    const Descriptor socket;
    bool isOpen = true;
    ReplyTable replies;  ///< to requests on this socket
    Reader reader{*this};
    Sender sender{*this};
};

}  // namespace platform
