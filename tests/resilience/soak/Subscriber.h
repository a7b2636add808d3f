#pragma once

#include <LinxIpc.h>
#include <RegionDataItem.h>
#include <SubtitleClient.h>

/// A client that reads numbered bitmaps in HD: the first 4 bytes of each are its number, the most
/// significant first, and after the last number comes 0 again.
class Subscriber {
public:
    explicit Subscriber(unsigned lastNumber);

    /// \return whether there is a service
    bool Connect();
    /// \return whether the service accepted
    bool Subscribe();

    /// Waits a moment for a bitmap and takes it.
    void Read();

    unsigned long long Received() const { return received; }
    /// Bitmaps that did not come when their turn was: lost, doubled or out of order.
    unsigned long long Wrong() const { return wrong; }
    bool Ping();

private:
    static void Arrives(LinxIpc* ipc, void* subscriber);

    LinxIpc ipc{"soak"};
    SubtitleClient client{ipc, 10000};
    RegionDataItem record;
    const unsigned last;
    unsigned next = 0;
    unsigned long long received = 0;
    unsigned long long wrong = 0;
};
