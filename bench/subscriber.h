#pragma once

#include <LinxIpc.h>
#include <SubtitleClient.h>

/// A client of the library with a subscription for CIF region data, without the console around it.
class Subscriber {
public:
    using Callback = void (*)(LinxIpc*, void*);

    /// \param callback  called with null as user data, as the console's are
    explicit Subscriber(Callback callback);

    /// Receives once, as the console's thread does. \return how many notifications came, 0 or 1
    double Receive() { return ipc.Receive(receiveWaitMs, 0, LinxIpc::emptyString, nullptr) == 0; }

private:
    static constexpr int receiveWaitMs = 10;

    LinxIpc ipc{"bench"};
    SubtitleClient client{ipc, 2000};
};

/// A callback that does nothing, so that the library alone is measured.
void Ignore(LinxIpc* ipc, void* userData);
