#pragma once

#include <LinxIpc.h>
#include <RegionDataItem.h>
#include <SubtitleClient.h>

/// A client that reads numbered bitmaps in HD. The first 4 bytes are the number, most significant
/// byte first; 0 follows the last number.
class Subscriber {
public:
    explicit Subscriber(unsigned lastNumber);

    /// \return whether the service runs
    bool Connect();
    /// \return whether the service accepted the subscription
    bool Subscribe();

    /// Waits a short time for a bitmap and takes it.
    void Read();

    unsigned long long Received() const { return received; }
    /// Number of bitmaps that are lost, doubled or out of order.
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
