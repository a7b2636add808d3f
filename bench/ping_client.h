#pragma once

#include <IpcMessage.h>
#include <LinxIpc.h>

#include <string>

/// Pings services of the messaging directory that is set when this is made.
class PingClient {
public:
    PingClient();

    /// Connects when it is the first to this service.
    void RoundTrip(const std::string& service);

private:
    LinxIpc ipc{"bench"};
    IpcMessage request;
};
